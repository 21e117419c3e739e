/// @file
/// A design session of a test's own: its directories, its crash store, its upload tool.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"
#include "support/FakeUploadTool.h"
#include "support/LinkSeams.h"
#include "support/SessionScene.h"

namespace lifecycle_test {

/// A process id that no process can have: beyond the largest that the kernel hands out.
constexpr char kDeadPid[] = "4194305";

/// Whole seconds that the code under test pauses for. They pass at once, unless they are real.
class Pauses {
  public:
    std::vector<long> seconds;
    bool areReal = false;
    /// Called with the number of the pause, from 1, when it begins.
    std::function<void(std::size_t)> onPause;

  private:
    std::optional<int> pause(const timespec* wanted) {
        seconds.push_back(wanted->tv_sec);
        if (onPause) onPause(seconds.size());
        return areReal ? std::nullopt : std::optional<int>(0);
    }
    seams::ScopedSeam<decltype(seams::onNanosleep)> m_seam{
        seams::onNanosleep, [this](const timespec* wanted, timespec*) { return pause(wanted); }};
};

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

    Pauses pauses;
    test_support::ScopedEnvVar off{"CRPT_OFF", std::nullopt};
    test_support::ScopedEnvVar running{"CRPT_ALREADY_RUNNING", std::nullopt};
    test_support::FakeUploadTool tool;
};

}  // namespace lifecycle_test
