#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "hcrpt/HCrashRptSettings.h"
#include "support/ChildProcess.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"

using namespace test_support;

namespace {

struct SwitchCase {
    std::optional<std::string> value;
    bool expected;
};

std::string described(const std::optional<std::string>& value) {
    return value ? "\"" + *value + "\"" : "unset";
}

/// Counts how often the network question is asked.
class CountingPlatform : public ScopedFakePlatform {
  public:
    int asked = 0;
    bool isHostInsideVeltra() override {
        ++asked;
        return ScopedFakePlatform::isHostInsideVeltra();
    }
};

}  // namespace

TEST(HCrashRptSettingsTest, AnyOffValueButExactlyFalseSwitchesReportingOff) {
    const SwitchCase cases[] = {
        {std::nullopt, false}, {"false", false}, {"", true},     {"False", true},
        {"FALSE", true},       {"0", true},      {"true", true}, {"no", true},
        {"false ", true},      {" false", true}, {"fals", true},
    };
    for (const SwitchCase& each : cases) {
        const ScopedEnvVar variable("CRPT_OFF", each.value);
        EXPECT_EQ(HCrashRptSettings::isCrptEnvironVarOff(), each.expected) << described(each.value);
    }
}

TEST(HCrashRptSettingsTest, OnlyExactlyTrueCountsAsAlreadyRunning) {
    const SwitchCase cases[] = {
        {std::nullopt, false}, {"", false},      {"TRUE", false},  {"True", false},
        {"1", false},          {"true ", false}, {"false", false}, {"true", true},
    };
    for (const SwitchCase& each : cases) {
        const ScopedEnvVar variable("CRPT_ALREADY_RUNNING", each.value);
        EXPECT_EQ(HCrashRptSettings::isCrptAlreadyRunning(), each.expected)
            << described(each.value);
    }
}

TEST(HCrashRptSettingsTest, SettingAlreadyRunningReplacesAnyValue) {
    for (const std::optional<std::string>& before :
         {std::optional<std::string>(), std::optional<std::string>("false")}) {
        const ScopedEnvVar variable("CRPT_ALREADY_RUNNING", before);
        ASSERT_FALSE(HCrashRptSettings::isCrptAlreadyRunning());
        HCrashRptSettings::setCrptAlreadyRunning();
        EXPECT_TRUE(HCrashRptSettings::isCrptAlreadyRunning());
        EXPECT_STREQ(std::getenv("CRPT_ALREADY_RUNNING"), "true");
    }
}

TEST(HCrashRptSettingsTest, AlreadyRunningIsInheritedByLaterProcesses) {
    const ScopedEnvVar variable("CRPT_ALREADY_RUNNING", std::nullopt);
    HCrashRptSettings::setCrptAlreadyRunning();
    auto child = ChildProcess::exec({"/bin/sh", "-c", "test \"$CRPT_ALREADY_RUNNING\" = true"});
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(HCrashRptSettingsTest, InternalHostIsThePlatformsAnswer) {
    ScopedFakePlatform platform;
    platform.fakeInsideVeltra = true;
    EXPECT_TRUE(HCrashRptSettings::isRunningOnInternalHost());
    platform.fakeInsideVeltra = false;
    EXPECT_FALSE(HCrashRptSettings::isRunningOnInternalHost());
}

TEST(HCrashRptSettingsTest, OneProductIsExcludedAndLetterCaseCounts) {
    EXPECT_FALSE(HCrashRptSettings::isSupportedProduct("corvo_kit"));
    for (const char* product : {"Corvo_kit", "CORVO_KIT", "corvo_kit ", "corvo", "", "Designer"})
        EXPECT_TRUE(HCrashRptSettings::isSupportedProduct(product)) << product;
}

TEST(HCrashRptSettingsTest, ReporterIsEnabledWhenAllThreeConditionsHold) {
    ScopedFakePlatform platform;
    const ScopedEnvVar off("CRPT_OFF", std::nullopt);
    EXPECT_TRUE(HCrashRptSettings::isCrashReporterEnabled("Designer"));
    EXPECT_TRUE(HCrashRptSettings::isCrashReporterEnabled("Corvo_kit"));
    EXPECT_FALSE(HCrashRptSettings::isCrashReporterEnabled("corvo_kit"));
}

TEST(HCrashRptSettingsTest, OutsideTheMakersNetworkNoProductIsEnabled) {
    ScopedFakePlatform platform;
    platform.fakeInsideVeltra = false;
    const ScopedEnvVar off("CRPT_OFF", "false");
    for (const char* product : {"Designer", "corvo_kit", ""})
        EXPECT_FALSE(HCrashRptSettings::isCrashReporterEnabled(product)) << product;
}

TEST(HCrashRptSettingsTest, SwitchedOffDoesNotAskThePlatform) {
    CountingPlatform platform;
    ScopedEnvVar off("CRPT_OFF", "true");
    EXPECT_FALSE(HCrashRptSettings::isCrashReporterEnabled("Designer"));
    EXPECT_EQ(platform.asked, 0);
    off.set("false");
    EXPECT_TRUE(HCrashRptSettings::isCrashReporterEnabled("Designer"));
    EXPECT_EQ(platform.asked, 1);
}

TEST(HCrashRptSettingsTest, NamesAndLimits) {
    EXPECT_EQ(HCrashRptSettings::getDirSeparator(), "/");
    EXPECT_EQ(HCrashRptSettings::getCrptAppName(), "crash_reporter");
    EXPECT_EQ(HCrashRptSettings::getCurlAppName(), "velcurl");
    EXPECT_EQ(HCrashRptSettings::getCrashRptPrefix(), "CrashReport_");
    EXPECT_EQ(HCrashRptSettings::getMangledStackTraceFilePrefix(), "hs_mangled_err_pid");
    EXPECT_EQ(HCrashRptSettings::getDemangledStackTraceFilePrefix(), "hs_err_pid");
    EXPECT_EQ(HCrashRptSettings::getMaxRptsToSend(), 30);
}

TEST(HCrashRptSettingsTest, ServerUrlNamesTheDeploymentsHost) {
    EXPECT_EQ(HCrashRptSettings::getKorServerUrl(),
              "https://" HCRPT_REPORT_HOST "/cgi-bin/crashreporter.cgi");
    EXPECT_GT(std::string(HCRPT_REPORT_HOST).size(), 0U);
}

TEST(HCrashRptSettingsTest, EnumeratorsKeepTheirNumbers) {
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::CONSENT_NOT_ASKED), 0);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::CONSENT_GIVEN), 1);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::CONSENT_LATER), 2);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::CONSENT_REFUSED), 3);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::SEND_SUCCESS), 0);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::SEND_FAIL), 1);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::SEND_LATER), 2);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::MANGLED_STACK_TRACE), 0);
    EXPECT_EQ(static_cast<int>(HCrashRptSettings::COMPLETE_CRASH_REPORT), 1);
    EXPECT_EQ(sizeof(HCrashRptSettings::ConsentType), 4U);
    EXPECT_EQ(sizeof(HCrashRptSettings::RptBackupStatus), 4U);
    EXPECT_EQ(sizeof(HCrashRptSettings::ReportType), 4U);
}
