#include <string>

#include "HUTFile.h"
#include "capture/CrashStack.h"
#include "capture/HeapProbe.h"
#include "capture/SiblingLock.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "hcrpt/HCrashRptWriters.h"
#include "utils/Message.h"

namespace HCrashReporter {
namespace {

void populate(HCrashRptMetaData::Manager& manager) {
    try {
        manager.populate();
    } catch (...) {
        // A probe failed: the report goes out with the items gathered before it.
    }
}

void writeReport() {
    const std::string& log = HCrptResourceMgr::getStacktraceLogPath();
    if (log.empty()) {
        hcrpt::printRaw("Could not generate crash report log as no stack trace could be written\n");
        return;
    }
    HCrashRptMetaData::Manager manager;
    populate(manager);
    manager.appendToMetaData("stack-trace", log);
    manager.appendToMetaData("gui-str-dump", HCrashRptSettings::getGuiStrDumpFileName());

    const std::string crashStore = HCrashRptSettings::getCrashStorePath();
    if (!HUTFile::exists(crashStore) && !HCrashRptUtils::createCrashStore()) {
        hcrpt::logInfo("Could not create crash log in the absence of a crashStore");
        return;
    }
    if (!HCrashRptJsonWriter::writeJsonRpt(crashStore, manager).empty())
        hcrpt::SiblingLock::note(hcrpt::SiblingLock::Stage::reported);
}

void writeReportNoThrow(void*) noexcept {
    hcrpt::Watchdog::set(hcrpt::Watchdog::kReport);
    // Nothing of the report can be had without the heap; the traces are on disk.
    if (!hcrpt::heapIsUsable()) return;
    try {
        writeReport();
    } catch (...) {
        // Out of memory, at worst. The traces are on disk; the process goes on to its end.
    }
}

}  // namespace

void HCrptExceptionHandlerBase::writeCrashReport() {
    hcrpt::CrashStack::run(&writeReportNoThrow, nullptr);
}

}  // namespace HCrashReporter
