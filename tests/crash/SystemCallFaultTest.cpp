// Each system call between the fatal signal and the end of the process fails once, in each way in
// which it may. One death for each: which call fails is its place among all of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "crash/FaultCosts.h"
#include "crash/FaultScene.h"
#include "crash/SystemCalls.h"

using namespace crash_test;

namespace {

/// Where it is set, each failure adds a line to that file.
constexpr char kTableVariable[] = "CRASH_FAULTS_FILE";

std::string describe(const Death& death, const Fault& fault) {
    const Call& call = death.calls[fault.call];
    return std::to_string(fault.call) + ": " + nameOfCall(call) + "(" + call.target + ") " +
           nameOfFault(fault);
}

void writeTableLine(const Death& death, const Fault& fault, const Cost& cost) {
    const char* const path = std::getenv(kTableVariable);
    if (path == nullptr) return;
    std::ofstream(path, std::ios::app) << nameOfCall(death.calls[fault.call]) << '|'
                                       << nameOfFault(fault) << '|' << cost.words << '\n';
}

std::vector<Fault> faultsOf(const Death& death) {
    std::vector<Fault> all;
    for (std::size_t call = 0; call < death.calls.size(); ++call) {
        if (!isOfInterest(death, call)) continue;
        for (const Fault& fault : possibleFaults(death.calls, call)) all.push_back(fault);
    }
    return all;
}

/// Returns true when the call that failed is the one that was meant.
bool isSameCall(const Death& one, const Death& other, std::size_t call) {
    return call < one.calls.size() && call < other.calls.size() &&
           one.calls[call].number == other.calls[call].number &&
           one.calls[call].target == other.calls[call].target;
}

/// Without the frames of the library itself, which tell how the walk was made.
Record withoutOwnFrames(Record record) {
    for (const char* name : {kRawTrace, kRawTraceCopy}) {
        std::string others;
        std::istringstream lines(record.files[name]);
        for (std::string line; std::getline(lines, line);)
            if (line.find("libzeb_HCrashReporter.so(+") == std::string::npos) others += line + '\n';
        record.files[name] = others;
    }
    return record;
}

const char* nameOf(Surroundings surroundings) {
    const char* const names[] = {"Usual", "HasPrinted", "NoStore", "NoSession"};
    return names[static_cast<int>(surroundings)];
}

constexpr Surroundings kSpecial[] = {Surroundings::hasPrinted, Surroundings::noStore,
                                     Surroundings::noSession};

template <typename Parameter>
class TracedDeathTest : public testing::TestWithParam<Parameter> {
  protected:
    void SetUp() override {
        if (!SystemCallTrace::isAllowed()) GTEST_SKIP() << "needs the right to trace a child";
    }
};

// --- Without a failure --------------------------------------------------------------------------

class UndisturbedDeathTest : public TracedDeathTest<Surroundings> {};

TEST_P(UndisturbedDeathTest, LeavesTheWholeRecord) {
    const Death death = dieWith(GetParam(), std::nullopt);
    for (const Call& call : death.calls)
        EXPECT_NE("", nameOfCall(call)) << "unknown call " << call.number;
    const bool aborts = GetParam() == Surroundings::hasPrinted;
    EXPECT_EQ(test_support::exitedWith(aborts ? 134 : 139), death.record.end);
    if (GetParam() == Surroundings::noSession) return;
    ASSERT_TRUE(death.record.report.has_value());
    EXPECT_EQ(18U, death.record.report->size());
    EXPECT_EQ(1U, death.record.pauses);
    for (const char* name : {kRawTrace, kRawTraceCopy, kLog, kLogCopy})
        EXPECT_NE(std::string::npos, death.record.files.at(name).find("(_start+")) << name;
}

std::string nameOfUndisturbed(const testing::TestParamInfo<Surroundings>& test) {
    return nameOf(test.param);
}

INSTANTIATE_TEST_SUITE_P(Usual, UndisturbedDeathTest, testing::Values(Surroundings::usual),
                         nameOfUndisturbed);
INSTANTIATE_TEST_SUITE_P(Special, UndisturbedDeathTest, testing::ValuesIn(kSpecial),
                         nameOfUndisturbed);

// --- With one -----------------------------------------------------------------------------------

void expectCost(const Death& undisturbed, const Fault& fault) {
    SCOPED_TRACE(describe(undisturbed, fault));
    const Cost cost = costOf(undisturbed, fault);
    const Death death = dieWith(undisturbed.surroundings, fault);
    ASSERT_TRUE(isSameCall(undisturbed, death, fault.call)) << "another call failed";
    if (cost.apply) {
        Record expected = undisturbed.record;
        cost.apply(expected);
        EXPECT_EQ(expected, death.record);
    } else {
        EXPECT_EQ(withoutOwnFrames(undisturbed.record), withoutOwnFrames(death.record));
    }
    writeTableLine(undisturbed, fault, cost);
}

// Shared out, so that several processors can work on them.
constexpr std::size_t kParts = 16;

class SystemCallFaultTest : public TracedDeathTest<std::tuple<Surroundings, std::size_t>> {};

TEST_P(SystemCallFaultTest, CostsNoMoreThanItMust) {
    const auto [surroundings, part] = GetParam();
    const Death undisturbed = dieWith(surroundings, std::nullopt);
    const std::vector<Fault> faults = faultsOf(undisturbed);
    const std::size_t parts = surroundings == Surroundings::usual ? kParts : 1;
    ASSERT_LT(parts, faults.size());
    for (std::size_t i = part; i < faults.size(); i += parts) expectCost(undisturbed, faults[i]);
}

std::string nameOfFaulty(
    const testing::TestParamInfo<std::tuple<Surroundings, std::size_t>>& test) {
    return nameOf(std::get<0>(test.param)) + std::to_string(std::get<1>(test.param));
}

INSTANTIATE_TEST_SUITE_P(Usual, SystemCallFaultTest,
                         testing::Combine(testing::Values(Surroundings::usual),
                                          testing::Range(std::size_t{0}, kParts)),
                         nameOfFaulty);
INSTANTIATE_TEST_SUITE_P(Special, SystemCallFaultTest,
                         testing::Combine(testing::ValuesIn(kSpecial),
                                          testing::Values(std::size_t{0})),
                         nameOfFaulty);

}  // namespace
