// Kernels and containers that know no inotify or no pidfd: the crash reporter looks for itself.
#include <sys/syscall.h>
#include <unistd.h>

#include "ServedSession.h"
#include "support/MissingSystemCall.h"

namespace {

using namespace crash_reporter_test;

struct Lack {
    const char* name;
    std::vector<long> calls;
};

void PrintTo(const Lack& lack, std::ostream* out) {
    *out << lack.name;
}

class WithoutEventsTest : public testing::TestWithParam<Lack>, protected ServedSession {};

TEST_P(WithoutEventsTest, TracesReportsAndEndsAreSeen) {
    ChildProcess host = registerHost();
    ChildProcess reporter = session.startReporter([] {
        for (const long call : GetParam().calls)
            if (!test_support::takeAwaySystemCall(call)) _exit(126);
    });
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    session.addReport("CrashReport_1.json", "{}");
    EXPECT_TRUE(isStoreEmptyOfReports());
    ChildProcess later = registerHost();
    end(host);
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(later.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(2)));
    EXPECT_FALSE(reporter.hasEnded());
    end(later);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(delivered(), (std::map<std::string, int>{{"CrashReport_1.json", 1}}));
}

INSTANTIATE_TEST_SUITE_P(, WithoutEventsTest,
                         testing::Values(Lack{"OfFiles", {SYS_inotify_init1}},
                                         Lack{"OfProcesses", {SYS_pidfd_open}},
                                         Lack{"OfAnyKind", {SYS_inotify_init1, SYS_pidfd_open}}),
                         [](const auto& lack) { return std::string(lack.param.name); });

}  // namespace
