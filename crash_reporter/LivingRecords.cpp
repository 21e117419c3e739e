#include "crash_reporter/LivingRecords.h"

#include <string>

#include "facts/RegisteredProcess.h"
#include "hcrpt/HCrashRptSettings.h"

namespace crash_reporter {

Records livingOf(const Records& records) {
    Records living;
    for (const std::string& record : records)
        if (hcrpt::isStillRunning(record)) living.insert(record);
    return living;
}

bool registerAgain(Records records) {
    for (const std::string& record : recordsIn(HCrashRptSettings::getProcRegFileFullPath()))
        records.erase(record);
    return records.empty() || appendRecords(records);
}

}  // namespace crash_reporter
