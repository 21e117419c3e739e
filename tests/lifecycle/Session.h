/// @file
/// A design session of a test's own: its directories, its crash store, its upload tool.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"
#include "lifecycle/CallSpies.h"
#include "support/FakeUploadTool.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

namespace lifecycle_test {

/// A process id that no process can have: beyond the largest that the kernel hands out.
constexpr char kDeadPid[] = "4194305";

/// Session 42 in a fresh launch directory, on the machine "testhost". Nothing of it exists yet but
/// launch directory, data directory and upload tool.
class SessionTest : public testing::Test {
  protected:
    SessionTest() {
        platform.fakeAppRoot = tool.appRoot();
        platform.fakeAppDataDir = directory.path();
        platform.fakeDataDir = directory.path();
        platform.fakeTmpDir = directory.path();
        std::filesystem::create_directory(directory / "CrashReporter");
        HCrashRptUtils::redirectedStdOut = false;
        HCrashReporter::registeredProcSet.clear();
        HCrashReporter::consentType = HCrashRptSettings::CONSENT_NOT_ASKED;
    }
    ~SessionTest() override { HCrashRptUtils::redirectedStdOut = false; }

    void makeStore() { std::filesystem::create_directories(store); }
    /// Makes the crash store and the registration file with this content.
    void writeRegistrations(const std::string& content) {
        makeStore();
        test_support::writeFile(registrations, content);
    }
    /// Puts a report into the crash store, which it makes. @return the report's path.
    std::string addReport(const std::string& name, const std::string& content = "{}") {
        makeStore();
        test_support::writeFile(store + "/" + name, content);
        return store + "/" + name;
    }

    static std::string livePid() { return std::to_string(getpid()); }

    ScopedSpies fresh;
    test_support::TempDir directory;
    test_support::ScopedEnvVar session{"ZEB_SESSION_INFO", directory.path() + ":42"};
    test_support::ScopedEnvVar off{"CRPT_OFF", std::nullopt};
    test_support::ScopedEnvVar running{"CRPT_ALREADY_RUNNING", std::nullopt};
    test_support::ScopedFakePlatform platform;
    test_support::FakeUploadTool tool;
    const std::string sessionDirectory = directory / ".crashReporter/42";
    const std::string store = sessionDirectory + "/crashStore";
    const std::string registrations = store + "/processRegFile.txt";
    const std::string backup = directory / "crashStoreBackup";
};

}  // namespace lifecycle_test
