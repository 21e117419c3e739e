// A host that uses the library.
//
//   deep_host -start           registers, prints its resident memory and ends
//   deep_host -crash DEPTH     dies of a null write in a call so deep, with handlers alone
//   deep_host -session DEPTH   registers as hosts do first; the crash reporter is already running
//   deep_host -idle            registers and sleeps
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "benchmarks/programs/Deep.h"
#include "benchmarks/programs/Resident.h"
#include "benchmarks/support/Mark.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashReporter.h"

namespace {

int* volatile s_nowhere = nullptr;

void writeToNull() {
    bench::markNow();
    *s_nowhere = 1;
}

}  // namespace

int main(int argc, char** argv) {
    const char* const task = argc > 1 ? argv[1] : "";
    if (std::strcmp(task, "-crash") == 0)
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
    else
        HCrashReporter::registration();

    if (std::strcmp(task, "-start") == 0) {
        // Does the same work as start_only.
        std::ifstream file("/proc/self/comm");
        std::string name;
        file >> name;
        std::cerr << "";
        bench::printResident();
    } else if (std::strcmp(task, "-idle") == 0) {
        pause();
    } else if (argc > 2) {
        bench::callDeep(std::atoi(argv[2]), &writeToNull);
    } else {
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
