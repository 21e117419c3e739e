// The crash reporter: makes raw traces readable, uploads and files reports, and leaves when there
// is nothing left to wait for. It is started with an empty argument vector and takes no arguments;
// all it needs to know comes from the environment of the host that started it.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "HUTFile.h"
#include "crash_reporter/HostDetachment.h"
#include "hcrpt/HCrashReporter.h"

namespace {

constexpr int kPauseBetweenPasses = 1;  // seconds

// The log's directory comes first: the redirection is tried once, and without it nobody would hear
// of anything that goes wrong.
bool openLog() {
    const std::string directory = HCrashRptSettings::crashReporterLogDir();
    if (!HUTFile(directory).mkDirRecursive() || access(directory.c_str(), W_OK | X_OK) != 0) {
        std::fprintf(stderr, "crash_reporter: cannot write to session directory %s\n",
                     directory.c_str());
        return false;
    }
    HCrashReporter::redirectStdoutToCrashLog();
    dup2(STDOUT_FILENO, STDERR_FILENO);  // what programs started from here complain about
    return true;
}

void serve() {
    HCrashReporter::createProcessRegistrationFile();
    for (;;) {
        HCrashReporter::probeAndSendCrashReports();
        if (HCrashReporter::isExitCondition()) return;
        HCrashReporter::sleep(kPauseBetweenPasses);
    }
}

}  // namespace

int main() {
    crash_reporter::detachFromHost();
    HCrashReporter::installSelfSignalHandler();
    if (!openLog()) return EXIT_FAILURE;
    try {
        serve();
    } catch (const std::exception& error) {
        std::printf("[Crash Reporter] Error: %s, leaving.\n", error.what());
        return EXIT_FAILURE;
    }
    std::printf("[Crash Reporter] No registered process runs and no report waits, leaving.\n");
    return EXIT_SUCCESS;
}
