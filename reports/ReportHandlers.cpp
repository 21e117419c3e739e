#include <memory>

#include "hcrpt/HCrashReportMgr.h"

namespace HCrashReportMgr {

HCrashReportHandler* getReportHandler(HCrashRptSettings::ReportType type) {
    switch (type) {
        case HCrashRptSettings::MANGLED_STACK_TRACE:
            return new MangledStackTraceHandler;
        case HCrashRptSettings::COMPLETE_CRASH_REPORT:
            return new CompleteCrashReportHandler;
    }
    return nullptr;
}

std::vector<std::string> probeAndGetCrashReports() {
    // The base has no virtual destructor, so the handler is deleted through its own type.
    const std::unique_ptr<MangledStackTraceHandler> handler(static_cast<MangledStackTraceHandler*>(
        getReportHandler(HCrashRptSettings::MANGLED_STACK_TRACE)));
    if (handler == nullptr) return {};
    return handler->getReportsInCrashStore();
}

}  // namespace HCrashReportMgr
