/// @file
/// What a death is to leave.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "crash/CrashScene.h"

namespace crash_test {

inline std::string headerOf(int signal) {
    return "#\n# An unexpected error has occurred (" + std::to_string(signal) + ")\n#\nStack:\n";
}

/// Raw trace, its copy and the readable log.
inline void expectTraces(const Outcome& outcome, int signal) {
    EXPECT_EQ(test_support::exitedWith(128 + signal), outcome.end);
    EXPECT_EQ(0U, outcome.rawTrace.find(headerOf(signal))) << outcome.rawTrace;
    EXPECT_EQ(outcome.rawTrace, outcome.copy);
    EXPECT_EQ(0U, outcome.log.find(headerOf(signal))) << outcome.log;
}

inline void expectWholeRecord(const Outcome& outcome, int signal) {
    expectTraces(outcome, signal);
    ASSERT_NE("", outcome.report);
    EXPECT_EQ('{', outcome.report.front());
    EXPECT_EQ('}', outcome.report[outcome.report.find_last_not_of('\n')]) << "half a report";
    EXPECT_NE(std::string::npos, outcome.report.find("\"stacktrace\""));
}

/// That trace, log and report name the function, and the report its library as the failing one.
inline void expectNamed(const Outcome& outcome, const std::string& function) {
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("libzeb_failing.so("));
    EXPECT_NE(std::string::npos, outcome.log.find("libzeb_failing.so(" + function)) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.report.find("\"" + function)) << outcome.report;
}

}  // namespace crash_test
