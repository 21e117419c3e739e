// Measures the work of a crashing process after its wait (facts, analysis, JSON), and the shell
// pipelines of that work alone. Prints "routine NANOSECONDS" and "pipelines NANOSECONDS"
// alternately.
//
//   crash_handler_report RUNS READABLE_LOG
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "benchmarks/support/Clock.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashCapture.h"

namespace {

// Each run has its own child process, because the arena frees no block.
template <class Function>
void timeInChild(const char* name, Function function) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const std::int64_t start = bench::now();
        function();
        std::printf("%s %lld\n", name, static_cast<long long>(bench::now() - start));
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    bench::require(status == 0, name);
}

void runPipeline(const std::string& command) {
    FILE* const output = popen(command.c_str(), "r");
    char line[128];
    while (std::fgets(line, sizeof line, output) != nullptr) {
    }
    pclose(output);
}

void pipelines() {
    const std::string pid = std::to_string(getpid());
    runPipeline("cat /etc/*-release | head -n 1");
    runPipeline("pmap " + pid + " | tail -n 1");
    runPipeline("ps -p " + pid + "  -o %cpu=,%mem=");
    runPipeline("ps -p " + pid + "  -o %cpu=,%mem=");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return EXIT_FAILURE;
    const bench::Session session;
    HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
    std::filesystem::copy_file(argv[2], HCrptResourceMgr::getStacktraceLogPath());
    for (int run = 0; run < std::atoi(argv[1]); ++run) {
        timeInChild("routine",
                    [] { HCrashReporter::HCrptExceptionHandlerBase::writeCrashReport(); });
        timeInChild("pipelines", &pipelines);
    }
    std::size_t reports = 0;
    for (const auto& entry : std::filesystem::directory_iterator(session.store))
        reports += entry.path().filename().string().rfind("CrashReport_", 0) == 0 ? 1 : 0;
    bench::require(reports > 0, "reports");
    return EXIT_SUCCESS;
}
