// A small host application: starts crash reporting, works for a while, and fails on demand.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptWriters.h"
#include "host/CrashReporting.h"
#include "solver/Solver.h"

namespace {

constexpr char kUsage[] =
    "usage: example_host [-crash WAY] [-dump] [-xml] [-wait SECONDS] [-source SCRIPT]\n"
    "  -crash WAY      null-write, illegal-instruction, division-by-zero, beyond-file, abort,\n"
    "                  quit, stack-overflow, forced-core or none; of forced-core a copy of the\n"
    "                  process dies, which the host waits for before it goes on\n"
    "  -dump           leaves a dump of the user interface's strings for the crash report\n"
    "  -xml            writes its own facts as an XML report into the session's launch directory\n"
    "  -wait SECONDS   works that long first\n"
    "  -source SCRIPT  the script that runs; it is only named in the crash report\n";

struct Options {
    zeb::solver::Failure failure = zeb::solver::Failure::none;
    bool forcedCore = false;
    bool dump = false;
    bool xml = false;
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
        if (word == "-xml") {
            options.xml = true;
            continue;
        }
        if (i + 1 == argc) throw std::invalid_argument("what does " + word + " mean?");
        const std::string value = argv[++i];
        if (word == "-crash" && value == "forced-core")
            options.forcedCore = true;
        else if (word == "-crash")
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

void writeXmlReport() {
    HCrashRptMetaData::Manager facts;
    facts.populate();
    const std::string path =
        HCrashRptXmlWriter::writeXmlRpt(HCrashRptSettings::getSessionLaunchDir(), facts);
    if (path.empty()) throw std::runtime_error("no XML report could be written");
    std::printf("example_host: XML report in %s\n", path.c_str());
    std::fflush(stdout);
}

/// Lets a copy of this process crash and waits for its end. Its report is complete then.
void forceCoreDump() {
    const pid_t child = HCrashRptDebug::forceCoreDump();
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("no copy of this process could be started");
    const bool exited = WIFEXITED(status);
    std::printf("example_host: process %d has ended by %s %d\n", child,
                exited ? "exit status" : "signal", exited ? WEXITSTATUS(status) : WTERMSIG(status));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse(argc, argv);
        std::printf("example_host: process %d, crash reporting is %s\n", getpid(),
                    example::startCrashReporting() ? "on" : "off");
        std::fflush(stdout);
        if (options.dump) leaveGuiStrings();
        if (options.xml) writeXmlReport();
        sleep(options.wait);
        if (options.forcedCore) forceCoreDump();
        zeb::solver::Solver(options.failure).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "example_host: %s\n%s", error.what(), kUsage);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
