// Installs the crash handlers and dies in the way that its first argument names. Exit code 3 tells
// that it did not die.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "crash/programs/Failing.h"
#include "hcrpt/HCrashCapture.h"

namespace failing = zeb::failing;

namespace {

constexpr int kStillAlive = 3;

const std::map<std::string, std::function<void()>> kWays = {
    {"null-write", failing::nullWrite},
    {"illegal-instruction", failing::illegalInstruction},
    {"division-by-zero", failing::divideByZero},
    {"beyond-file", failing::busError},
    {"abort", failing::callAbort},
    {"quit", [] { std::raise(SIGQUIT); }},
    {"null-call", failing::callNull},
    {"recursion", failing::stackOverflow},
    {"deep", [] { failing::atDepth(300); }},
    {"smashed-stack", [] { failing::atDepth(5, failing::smashFramePointer); }},
    {"corrupt-heap", failing::corruptTop},
    {"uncaught-exception", failing::throwUncaught},
    {"interrupt", [] { std::raise(SIGINT); }},
    {"none", [] {}},
};

// Made before the handlers, so it is destroyed after the library has given its resources back.
struct ExitTimeCrash {
    bool armed = false;
    ~ExitTimeCrash() {
        if (armed) failing::nullWrite();
    }
} s_exitTimeCrash;

}  // namespace

int main(int argc, char** argv) {
    const std::string way = argc > 1 ? argv[1] : "";
    const bool self = argc > 2 && std::strcmp(argv[2], "self") == 0;
    if (way == "after-fork") {
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
        std::printf("parent %d\n", getpid());
        std::fflush(stdout);
        const pid_t child = fork();
        if (child != 0) _exit(0);
        failing::nullWrite();
    }
    if (self)
        HCrashReporter::HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    else
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
    if (way == "static-destruction") {
        s_exitTimeCrash.armed = true;
        return kStillAlive;
    }
    const auto found = kWays.find(way);
    if (found == kWays.end()) {
        std::fprintf(stderr, "crash_host: no such way to die: %s\n", way.c_str());
        return 2;
    }
    found->second();
    return kStillAlive;
}
