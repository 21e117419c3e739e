// A host application in small: starts crash reporting, works for a while, and fails on demand.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

#include "hcrpt/HCrashRptSettings.h"
#include "host/CrashReporting.h"
#include "solver/Solver.h"

namespace {

constexpr char kUsage[] =
    "usage: example_host [-crash WAY] [-dump] [-wait SECONDS] [-source SCRIPT]\n"
    "  -crash WAY      null-write, illegal-instruction, division-by-zero, beyond-file, abort,\n"
    "                  quit, stack-overflow or none\n"
    "  -dump           leaves a dump of the user interface's strings for the crash report\n"
    "  -wait SECONDS   works that long first\n"
    "  -source SCRIPT  the script that runs; it is only named in the crash report\n";

struct Options {
    zeb::solver::Failure failure = zeb::solver::Failure::none;
    bool dump = false;
    unsigned wait = 0;  // seconds
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "-dump") {
            options.dump = true;
            continue;
        }
        if (i + 1 == argc) throw std::invalid_argument("what does " + word + " mean?");
        const std::string value = argv[++i];
        if (word == "-crash")
            options.failure = zeb::solver::failureOf(value);
        else if (word == "-wait")
            options.wait = static_cast<unsigned>(std::stoul(value));
        else if (word != "-source")
            throw std::invalid_argument("what does " + word + " mean?");
    }
    return options;
}

void leaveGuiStrings() {
    std::ofstream dump(HCrashRptSettings::getGuiStrDumpFileName());
    dump << "window: Example Host\nmenu: Mesh > Refine\nstatus: solving, step 3 of 3\n";
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse(argc, argv);
        std::printf("example_host: process %d, crash reporting is %s\n", getpid(),
                    example::startCrashReporting() ? "on" : "off");
        std::fflush(stdout);
        if (options.dump) leaveGuiStrings();
        sleep(options.wait);
        zeb::solver::Solver(options.failure).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "example_host: %s\n%s", error.what(), kUsage);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
