/// @file
/// What a death is to leave.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "HUTEnv.h"
#include "crash/CrashScene.h"

namespace crash_test {

inline std::string headerOf(int signal) {
    return "#\n# An unexpected error has occurred (" + std::to_string(signal) + ")\n#\nStack:\n";
}

/// What a raw trace holds before its frames, until the walk over the stack has come to its end.
constexpr char kNotice[] =
    "Following is a partial stack trace, only, likely due to stack corruption\n";

/// Raw trace, its copy and the stack-trace log.
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
    EXPECT_EQ(std::string::npos, outcome.report.find("\"writtenBy\"")) << "not the process itself";
}

inline void expectItem(const Outcome& outcome, const std::string& key, const std::string& value) {
    EXPECT_NE(std::string::npos, outcome.report.find("\"" + key + "\": \"" + value + "\""))
        << key << " in " << outcome.report;
}

/// The report that the crash reporter writes for a host that could not.
inline void expectRecoveredReport(const Outcome& outcome, int signal, const std::string& function,
                                  const std::string& scenario) {
    EXPECT_EQ(0U,
              outcome.reportName.find("CrashReport_" + std::to_string(outcome.pid) + "_" +
                                      HUTEnv::getHostName() + "_" + HUTEnv::getUserName() + "_"))
        << outcome.reportName;
    expectItem(outcome, "writtenBy", "crash reporter, after the process had ended");
    expectItem(outcome, "programName", "crash_scenarios");
    expectItem(outcome, "productVersion", "4.2");
    expectItem(outcome, "buildNumber", "4711");
    expectItem(outcome, "buildDate", "2026-11-21");
    expectItem(outcome, "commandLine", "crash_scenarios " + scenario);
    expectItem(outcome, "signalNumber", std::to_string(signal));
    expectItem(outcome, "subSystem", "failing");
    expectItem(outcome, "functionName", function);
    EXPECT_NE(std::string::npos, outcome.report.find("libzeb_failing.so(" + function + "+0x"));
    EXPECT_EQ('}', outcome.report[outcome.report.find_last_not_of('\n')]) << "half a report";
}

/// That trace, log and report name the function, and the report its library as the failing one.
inline void expectNamed(const Outcome& outcome, const std::string& function) {
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("libzeb_failing.so("));
    EXPECT_NE(std::string::npos, outcome.log.find("libzeb_failing.so(" + function)) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.report.find("\"" + function)) << outcome.report;
}

}  // namespace crash_test
