/// @file
/// velcurl: takes curl's options, runs the system's curl and says why an upload was not accepted.
/// See docs/velcurl.md.

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "base/ProcessEnd.h"
#include "velcurl/CurlArguments.h"
#include "velcurl/CurlEnvironment.h"
#include "velcurl/CurlProgram.h"
#include "velcurl/CurlRun.h"
#include "velcurl/Verdict.h"

namespace {

// Exit statuses, with a shell's numbers.
constexpr int kUsageError = 2;
constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) result += (result.empty() ? "" : ", ") + text;
    return result;
}

void print(const std::string& text, std::FILE* stream) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

/// Ends this process by the signal that ended curl, without a core file.
void endBySignal(int number) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    signal(number, SIG_DFL);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
    hcrpt::writeCoverage();
    raise(number);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> callers(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (callers.empty()) {
        std::fprintf(stderr, "velcurl: usage: velcurl <curl option>... <URL>\n");
        return kUsageError;
    }

    std::vector<std::string> places = velcurl::systemPlaces();
    if (const std::string chosen = variable("VELCURL_CURL"); !chosen.empty()) places = {chosen};
    const std::optional<std::string> program = velcurl::findCurl(places);
    if (!program) {
        std::fprintf(stderr, "velcurl: no curl to run: %s is not an executable file\n",
                     joined(places).c_str());
        return kNotFound;
    }

    std::vector<std::string> arguments =
        velcurl::curlArguments(callers, variable("VELCURL_CONNECT_TO"),
                               velcurl::totalTimeout(variable("VELCURL_MAX_TIME")));
    arguments.insert(arguments.begin(), *program);
    const velcurl::CurlRun run =
        velcurl::runCurl(*program, arguments, velcurl::curlEnvironment(environ));
    if (run.startError) {
        std::fprintf(stderr, "velcurl: cannot run %s: %s\n", program->c_str(),
                     std::strerror(*run.startError));
        return kCannotExecute;
    }

    // The verdict comes first: a reader of the log stops at the first line that says success.
    const velcurl::Verdict verdict = velcurl::verdictOn(run, velcurl::serverOf(callers));
    if (verdict.complaint) print(*verdict.complaint + "\n", stderr);
    print(run.trace, stderr);
    print(run.answer, stdout);
    if (WIFSIGNALED(run.waitStatus) && !run.tooLong) endBySignal(WTERMSIG(run.waitStatus));
    return verdict.exitStatus;
}
