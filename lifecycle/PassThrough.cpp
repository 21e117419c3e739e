// Operations of HCrashRptUtils under the entry points' name.
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"

namespace HCrashReporter {

void deleteCrashReporterDir() {
    HCrashRptUtils::deleteCrashReporterDir();
}
void redirectStdoutToCrashLog() {
    HCrashRptUtils::redirectStdoutToCrashLog();
}
void closeCrashLogFile() {
    HCrashRptUtils::closeCrashLogFile();
}
void deleteCrashStore() {
    HCrashRptUtils::deleteCrashStore();
}
void sleep(int seconds) {
    HCrashRptUtils::sleep(seconds);
}
std::string timestamp() {
    return HCrashRptUtils::timestamp();
}

}  // namespace HCrashReporter
