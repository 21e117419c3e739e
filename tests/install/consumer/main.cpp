// Uses every public header from an installation; ends with 0 when reporting can be set up.
#include <HUTEnv.h>
#include <HUTFile.h>
#include <HUTFork.h>
#include <HUTPlatform.h>
#include <hcrpt/HCrashCapture.h>
#include <hcrpt/HCrashReportMgr.h>
#include <hcrpt/HCrashReporter.h>
#include <hcrpt/HCrashRptMetaData.h>
#include <hcrpt/HCrashRptRecovery.h>
#include <hcrpt/HCrashRptSettings.h>
#include <hcrpt/HCrashRptTransmit.h>
#include <hcrpt/HCrashRptUtils.h>
#include <hcrpt/HCrashRptWriters.h>

#include <cstdlib>

int main() {
    HUTPlatform::setProduct({"Consumer", "1.0", 1, "2026-11-21"});
    setenv("HUT_INSIDE_NETWORK", "true", 1);
    unsetenv("CRPT_OFF");
    HCrashRptMetaData::Manager manager;
    manager.addItem("key", "value");
    rapidjson::Document document(rapidjson::kObjectType);
    HCrashRptJsonWriter::populateDocWithMetaData(document, manager);
    const bool right = HCrashReporter::isEnabled("Consumer") && document.HasMember("key") &&
                       HUTEnv::getProductName() == "Consumer" &&
                       HCrashReporter::HCrptExceptionMgr::get()->getHandler("") != nullptr;
    return right ? EXIT_SUCCESS : EXIT_FAILURE;
}
