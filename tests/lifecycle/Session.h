/// @file
/// A design session of a test's own: its directories, its crash store, its upload tool.
#pragma once

#include <filesystem>
#include <string>

#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"
#include "lifecycle/CallSpies.h"
#include "support/FakeUploadTool.h"
#include "support/SessionScene.h"

namespace lifecycle_test {

/// A process id that no process can have: beyond the largest that the kernel hands out.
constexpr char kDeadPid[] = "4194305";

/// A session on the machine "testhost" with an upload tool.
class SessionTest : public test_support::SessionScene {
  protected:
    SessionTest() {
        platform.fakeAppRoot = tool.appRoot();
        platform.fakeDataDir = data;
        std::filesystem::create_directory(tmp + "/CrashReporter");
        HCrashRptUtils::redirectedStdOut = false;
        HCrashReporter::registeredProcSet.clear();
        HCrashReporter::consentType = HCrashRptSettings::CONSENT_NOT_ASKED;
    }
    ~SessionTest() override { HCrashRptUtils::redirectedStdOut = false; }

    static std::string livePid() { return std::to_string(getpid()); }

    ScopedSpies fresh;
    test_support::ScopedEnvVar off{"CRPT_OFF", std::nullopt};
    test_support::ScopedEnvVar running{"CRPT_ALREADY_RUNNING", std::nullopt};
    test_support::FakeUploadTool tool;
};

}  // namespace lifecycle_test
