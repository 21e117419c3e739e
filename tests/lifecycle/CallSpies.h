/// @file
/// Calls that leave the lifecycle folder: counted, and answered by the test where it says so.
///
/// The linker sends these calls through the spies (--wrap). A spy without an answer of its own
/// calls the real operation, so that waits are real.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptSettings.h"

namespace lifecycle_test {

struct CallSpies {
    /// Seconds of each sleep so far.
    std::vector<int> sleeps;
    /// Called with the number of the sleep, from 1, when it begins.
    std::function<void(std::size_t)> onSleep;
    /// Modes of each lock call so far.
    std::vector<std::string> locks;
    /// Texts of each write to a descriptor so far.
    std::vector<std::string> written;
    /// Answers instead of the real results, once the operation has run.
    std::optional<ssize_t> writeAnswer;
    std::optional<int> unlockAnswer;
    /// Descriptors that were closed.
    std::vector<int> closed;
    /// Programs that were to be started, each with its number of arguments.
    std::vector<std::pair<std::string, std::size_t>> launched;
    /// Answer instead of starting the program.
    std::optional<bool> launchAnswer;
    /// Hands the reports out in the order of their names, so that a test knows it.
    bool sortReports = false;
    std::optional<int> sendLimit;
    int consentQuestions = 0;
    std::optional<HCrashRptSettings::ConsentType> consentAnswer;
};

/// The spies of this test. Reset by ScopedSpies.
CallSpies& spies();

/// Fresh spies for the time of a scope.
class ScopedSpies {
  public:
    ScopedSpies() { spies() = CallSpies(); }
    ~ScopedSpies() { spies() = CallSpies(); }
    ScopedSpies(const ScopedSpies&) = delete;
    ScopedSpies& operator=(const ScopedSpies&) = delete;
};

}  // namespace lifecycle_test
