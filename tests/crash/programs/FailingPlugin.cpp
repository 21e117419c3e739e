// A library that fails while it is being loaded.
#include "crash/programs/Failing.h"

[[gnu::constructor]] void initializeFailingPlugin() {
    zeb::failing::nullWrite();
}
