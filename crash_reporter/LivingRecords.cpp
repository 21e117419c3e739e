#include "crash_reporter/LivingRecords.h"

#include <string>

#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {

Records livingOf(const Records& records) {
    Records living;
    for (const std::string& record : records) {
        const std::optional<std::string> pid = localProcess(record);
        if (pid && HCrashRptUtils::isProcessRunning(*pid)) living.insert(record);
    }
    return living;
}

bool registerAgain(Records records) {
    for (const std::string& record : recordsIn(HCrashRptSettings::getProcRegFileFullPath()))
        records.erase(record);
    return records.empty() || appendRecords(records);
}

}  // namespace crash_reporter
