// The items of a report, in the order that the writers keep.

#include "HUTEnv.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptUtils.h"

namespace HCrashRptMetaData {

void Manager::populate() {
    table.clear();  // the nodes stay in the arena, which frees no block
    addItem("timestamp", HCrashRptUtils::timestamp());
    addItem("programName", HUTEnv::getProgramName());
    addItem("productVersion", HUTEnv::getProductVersion());
    addItem("buildNumber", std::to_string(HUTEnv::getBuildNumber()));
    addItem("buildDate", HUTEnv::getBuildDate());
    addItem("commandLine", getCmdline());
    addItem("testcase", getTestcase(getCmdline()));
    // Contract: memory comes before processor: the order of the items is fixed.
    addItem("totalMemoryUsage", getTotalMemory());
    addItem("memoryUtilization", getMemoryUtilization());
    addItem("cpuUtilization", getCpuUtilization());
    addItem("osInfo", extract_osInfo());
    addItem("cpuInfo", extract_cpuModel());
    addItem("memInfo", extract_memInfo());
}

bool Manager::appendToMetaData(const std::string& type, const std::string& path) {
    if (type == "stack-trace") return addStackTraceToMetaDataTable(path);
    if (type == "gui-str-dump") return addGuiStrFileContentToMetaDataTable(path);
    return true;
}

}  // namespace HCrashRptMetaData
