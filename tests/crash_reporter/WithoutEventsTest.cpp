// Kernels and containers that know no inotify or no pidfd: the crash reporter looks for itself.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "ServedSession.h"

namespace {

using namespace crash_reporter_test;

/// From now on a system call fails in this process and in those it starts, as in a kernel that has
/// none such.
bool takeAway(long call) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(call), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {sizeof program / sizeof program[0], program};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

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
            if (!takeAway(call)) _exit(126);
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
