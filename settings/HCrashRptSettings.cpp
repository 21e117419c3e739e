#include "hcrpt/HCrashRptSettings.h"

#include <cstdlib>
#include <unordered_set>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "settings/FileNames.h"

namespace {

constexpr char kOffVariable[] = "CRPT_OFF";
constexpr char kAlreadyRunningVariable[] = "CRPT_ALREADY_RUNNING";
constexpr char kTrue[] = "true";
constexpr char kFalse[] = "false";
constexpr int kMaxReportsPerPass = 30;

}  // namespace

bool HCrashRptSettings::isCrptEnvironVarOff() {
    const char* value = std::getenv(kOffVariable);
    if (value == nullptr) return false;
    // Contract: any value of the variable, even an empty one, switches reporting off; only "false"
    // does not.
    return std::string(value) != kFalse;
}

bool HCrashRptSettings::isRunningOnInternalHost() {
    return HUTEnv::isHostInsideVeltra();
}

bool HCrashRptSettings::isSupportedProduct(const std::string& product) {
    static const std::unordered_set<std::string> unsupported = {"corvo_kit"};
    // Contract: letter case matters: a product that spells the name differently is supported.
    return unsupported.count(product) == 0;
}

bool HCrashRptSettings::isCrashReporterEnabled(const std::string& product) {
    // The environment is tested first because that costs least.
    if (isCrptEnvironVarOff()) return false;
    // Contract: only machines inside the maker's own network report crashes.
    if (!isRunningOnInternalHost()) return false;
    return isSupportedProduct(product);
}

bool HCrashRptSettings::isCrptAlreadyRunning() {
    const char* value = std::getenv(kAlreadyRunningVariable);
    return value != nullptr && std::string(value) == kTrue;
}

void HCrashRptSettings::setCrptAlreadyRunning() {
    setenv(kAlreadyRunningVariable, kTrue, 1);
}

std::string HCrashRptSettings::getDirSeparator() {
    return HUTFile::getDirSeparator();
}

std::string HCrashRptSettings::getCrptAppName() {
    return "crash_reporter";
}

std::string HCrashRptSettings::getCurlAppName() {
    return "velcurl";
}

std::string HCrashRptSettings::getKorServerUrl() {
    return "https://" HCRPT_REPORT_HOST "/cgi-bin/crashreporter.cgi";
}

std::string HCrashRptSettings::getCrashRptPrefix() {
    return hcrpt::kReportPrefix;
}

std::string HCrashRptSettings::getMangledStackTraceFilePrefix() {
    return hcrpt::kRawTracePrefix;
}

std::string HCrashRptSettings::getDemangledStackTraceFilePrefix() {
    return hcrpt::kTraceLogPrefix;
}

int HCrashRptSettings::getMaxRptsToSend() {
    return kMaxReportsPerPass;
}
