// Deaths in a function whose last call never returns. The address to which that call would return
// lies behind the function, often in its neighbour.
#include <gtest/gtest.h>
#include <signal.h>

#include <ostream>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using crash_test::CrashScene;
using crash_test::expectItem;
using crash_test::expectWholeRecord;
using crash_test::Outcome;

namespace {

struct Ending {
    const char* library;
    const char* function;
};

void PrintTo(const Ending& ending, std::ostream* out) {
    *out << ending.function << " of " << ending.library;
}

class NoReturnTest : public testing::TestWithParam<Ending> {};

TEST_P(NoReturnTest, NamesTheFunctionThatCalledAndNotItsNeighbour) {
    CrashScene scene;
    const auto [library, function] = GetParam();
    const Outcome outcome = scene.run(std::string(library) + ":" + function);
    expectWholeRecord(outcome, SIGABRT);
    expectItem(outcome, "subSystem", library);
    expectItem(outcome, "functionName", function);
    EXPECT_EQ(std::string::npos, outcome.rawTrace.find("neighbour")) << outcome.rawTrace;
}

INSTANTIATE_TEST_SUITE_P(
    Table, NoReturnTest,
    testing::Values(Ending{"plain", "abortAtEnd"}, Ending{"optimised", "abortAtEnd"},
                    Ending{"plain", "assertAtEnd"}, Ending{"optimised", "assertAtEnd"},
                    Ending{"plain", "throwAtEnd"}, Ending{"optimised", "throwAtEnd"},
                    Ending{"plain", "throwBelowNoexcept"},
                    Ending{"optimised", "throwBelowNoexcept"}, Ending{"plain", "smashStack"},
                    Ending{"optimised", "smashStack"}, Ending{"plain", "callPureVirtual"},
                    Ending{"optimised", "callPureVirtual"}, Ending{"plain", "freeTwice"},
                    Ending{"optimised", "freeTwice"}),
    [](const auto& row) { return std::string(row.param.function) + "_" + row.param.library; });

}  // namespace
