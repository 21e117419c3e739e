#include "lifecycle/CallSpies.h"

#include <algorithm>

namespace lifecycle_test {

CallSpies& spies() {
    static CallSpies all;
    return all;
}

}  // namespace lifecycle_test

namespace {

using lifecycle_test::spies;

}  // namespace

// What the linker makes of --wrap: calls of X reach wrapX, and realX is the wrapped operation.
#define HCRPT_REAL(symbol) __asm__("__real_" symbol)
#define HCRPT_WRAP(symbol) __asm__("__wrap_" symbol)

#define SLEEP "_ZN14HCrashRptUtils5sleepEi"
void realSleep(int seconds) HCRPT_REAL(SLEEP);
void wrapSleep(int seconds) HCRPT_WRAP(SLEEP);
void wrapSleep(int seconds) {
    spies().sleeps.push_back(seconds);
    if (spies().onSleep) spies().onSleep(spies().sleeps.size());
    realSleep(seconds);
}

#define FILE_LOCK \
    "_ZN14HCrashRptUtils8fileLockEiRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
int realFileLock(int fd, const std::string& mode) HCRPT_REAL(FILE_LOCK);
int wrapFileLock(int fd, const std::string& mode) HCRPT_WRAP(FILE_LOCK);
int wrapFileLock(int fd, const std::string& mode) {
    spies().locks.push_back(mode);
    const int result = realFileLock(fd, mode);
    return mode == "LOCK_UN" && spies().unlockAnswer ? *spies().unlockAnswer : result;
}

#define FILE_WRITE \
    "_ZN14HCrashRptUtils9fileWriteEiRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
ssize_t realFileWrite(int fd, const std::string& data) HCRPT_REAL(FILE_WRITE);
ssize_t wrapFileWrite(int fd, const std::string& data) HCRPT_WRAP(FILE_WRITE);
ssize_t wrapFileWrite(int fd, const std::string& data) {
    spies().written.push_back(data);
    const ssize_t result = realFileWrite(fd, data);
    return spies().writeAnswer ? *spies().writeAnswer : result;
}

#define FILE_CLOSE "_ZN14HCrashRptUtils9fileCloseEi"
int realFileClose(int fd) HCRPT_REAL(FILE_CLOSE);
int wrapFileClose(int fd) HCRPT_WRAP(FILE_CLOSE);
int wrapFileClose(int fd) {
    spies().closed.push_back(fd);
    return realFileClose(fd);
}

#define FORK_NEW_PROCESS                                                         \
    "_ZN14HCrashRptUtils14forkNewProcessERKNSt7__cxx1112basic_stringIcSt11char_" \
    "traitsIcESaIcEEERSt6"                                                       \
    "vectorIS5_SaIS5_EE"
bool realFork(const std::string& program, std::vector<std::string>& arguments)
    HCRPT_REAL(FORK_NEW_PROCESS);
bool wrapFork(const std::string& program, std::vector<std::string>& arguments)
    HCRPT_WRAP(FORK_NEW_PROCESS);
bool wrapFork(const std::string& program, std::vector<std::string>& arguments) {
    spies().launched.emplace_back(program, arguments.size());
    return spies().launchAnswer ? *spies().launchAnswer : realFork(program, arguments);
}

#define PROBE_REPORTS "_ZN15HCrashReportMgr23probeAndGetCrashReportsB5cxx11Ev"
std::vector<std::string> realProbe() HCRPT_REAL(PROBE_REPORTS);
std::vector<std::string> wrapProbe() HCRPT_WRAP(PROBE_REPORTS);
std::vector<std::string> wrapProbe() {
    std::vector<std::string> reports = realProbe();
    if (spies().sortReports) std::sort(reports.begin(), reports.end());
    return reports;
}

#define SEND_LIMIT "_ZN17HCrashRptSettings16getMaxRptsToSendEv"
int realSendLimit() HCRPT_REAL(SEND_LIMIT);
int wrapSendLimit() HCRPT_WRAP(SEND_LIMIT);
int wrapSendLimit() {
    return spies().sendLimit ? *spies().sendLimit : realSendLimit();
}

#define CONSENT "_ZN20HCrashRptConsentForm18getCustomerConsentEv"
HCrashRptSettings::ConsentType realConsent() HCRPT_REAL(CONSENT);
HCrashRptSettings::ConsentType wrapConsent() HCRPT_WRAP(CONSENT);
HCrashRptSettings::ConsentType wrapConsent() {
    ++spies().consentQuestions;
    return spies().consentAnswer ? *spies().consentAnswer : realConsent();
}
