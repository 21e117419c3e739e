// The crash reporter: demangles raw traces, uploads and files reports, and leaves when there
// is nothing left to wait for. It is started with an empty argument vector and takes no arguments;
// all it needs to know comes from the environment of the host that started it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>

#include "crash_reporter/BackOff.h"
#include "crash_reporter/Daemonize.h"
#include "crash_reporter/Log.h"
#include "crash_reporter/Service.h"
#include "crash_reporter/SessionLock.h"
#include "crash_reporter/SessionPlaces.h"
#include "crash_reporter/StopSignal.h"
#include "hcrpt/HCrashReporter.h"

namespace {

using namespace crash_reporter;

/// A crash reporter that holds the lock may be about to leave. It gets time for that, and more if
/// it has announced that it only finishes an upload.
constexpr std::chrono::seconds kPatience(5);
constexpr std::chrono::seconds kPatienceWithAnUpload(300);
constexpr std::chrono::milliseconds kPause(20);

SessionLock::Outcome takeLock(SessionLock& lock, const StopSignal& stop) {
    const Time begin = Clock::now();
    for (;;) {
        const SessionLock::Outcome outcome = lock.take();
        if (outcome != SessionLock::Outcome::heldByAnother || stop.isRequested()) return outcome;
        const auto patience = SessionLock::isReleaseAnnounced() ? kPatienceWithAnUpload : kPatience;
        if (Clock::now() >= begin + patience) return outcome;
        std::this_thread::sleep_for(kPause);
    }
}

void complain(const std::string& refusal) {
    std::fprintf(stderr, "crash_reporter: %s\n", refusal.c_str());
}

void serve(Log& log) {
    const StopSignal stop;
    SessionLock lock;
    switch (takeLock(lock, stop)) {
        case SessionLock::Outcome::heldByAnother:
            return logInfo("Another crash reporter serves this session, leaving.");
        case SessionLock::Outcome::impossible:
            logError("Could not lock " + SessionLock::path() +
                     ", so another crash reporter of this session would not be noticed.");
            break;
        case SessionLock::Outcome::taken:
            break;
    }
    Service(lock, stop, log).run();
}

}  // namespace

int main() {
    daemonize();
    HCrashReporter::installSelfSignalHandler();

    // The log's directory comes first: standard output is redirected only once, and without the log
    // nobody would hear of anything that goes wrong.
    SessionPlaces places;
    if (const Refusal refusal = places.prepareSessionDirectory()) {
        complain(*refusal);
        return EXIT_FAILURE;
    }
    const Refusal refusal = places.inspectStores();
    if (refusal) complain(*refusal);

    Log log;
    log.open();
    for (const std::string& remark : places.remarks()) logInfo(remark);
    if (refusal) {
        logError(*refusal + ", leaving.");
        return EXIT_FAILURE;
    }
    try {
        serve(log);
    } catch (const std::exception& error) {
        logError(std::string(error.what()) + ", leaving.");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
