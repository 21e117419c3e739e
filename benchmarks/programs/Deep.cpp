#include "benchmarks/programs/Deep.h"

namespace bench {

void callDeep(int depth, void (*function)()) {
    if (depth <= 0)
        function();
    else
        callDeep(depth - 1, function);
}

}  // namespace bench
