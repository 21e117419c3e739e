// What deep_host -start costs without the library.
#include "benchmarks/programs/Resident.h"

int main() {
    bench::printResident();
    return 0;
}
