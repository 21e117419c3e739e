// The processes that fail here are children: the handler of a process is decided once.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "capture/CrashScene.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/StdoutCapture.h"

using namespace test_support;

namespace {

constexpr uid_t kSomeOrdinaryUser = 65534;
constexpr rlim_t kFiniteCoreSize = 1000;  // bytes
// What a child ends with when something other than the tested behaviour went wrong.
constexpr int kNotReady = 100;

bool becomeOrdinaryUser() {
    return geteuid() != 0 || setuid(kSomeOrdinaryUser) == 0;
}

/// How a child of this process ended: its exit status, -signal, or -1000 when it is none.
int endOf(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, 0) != child) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool setLimits(int resource, rlim_t soft, rlim_t hard) {
    const rlimit limits = {soft, hard};
    return setrlimit(static_cast<__rlimit_resource_t>(resource), &limits) == 0;
}

/// A process like a host, with its own id in the names of its files.
class HCrashRptDebugTest : public testing::Test {
  protected:
    HCrashRptDebugTest() { scene.platform.fakePid.reset(); }

    /// Runs the body in a child that works in the scene and leaves no core file.
    ChildProcess host(const std::function<int()>& body) const {
        return ChildProcess::fork([&] {
            std::filesystem::current_path(scene.work());
            if (!setLimits(RLIMIT_CORE, 0, 0)) return kNotReady;
            return body();
        });
    }
    /// The handler, and the log that the crashing process waits for.
    void installHandler() const {
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
        std::filesystem::create_directories(scene.store());
        test_support::writeFile(logOf(getpid()), "#\n# An unexpected error has occurred (6)\n#\n");
    }
    std::string logOf(pid_t pid) const {
        return scene.store() + "/hs_err_pid" + std::to_string(pid) + ".log";
    }
    std::string rawTraceOf(pid_t pid) const {
        return scene.work() + "/hs_mangled_err_pid" + std::to_string(pid) + ".log";
    }
    std::string storedTraceOf(pid_t pid) const {
        return scene.store() + "/hs_mangled_err_pid" + std::to_string(pid) + ".log";
    }

    CrashScene scene;
};

std::string traceHeader(int sig) {
    return "#\n# An unexpected error has occurred (" + std::to_string(sig) + ")\n#\nStack:\n";
}

// --- forceCoreDump ------------------------------------------------------------------------------

TEST_F(HCrashRptDebugTest, ForcedCoreDumpLeavesTraceAndReportOfTheChildWhileTheParentLivesOn) {
    ChildProcess parent = host([this] {
        installHandler();
        const pid_t before = getpid();
        const pid_t child = HCrashRptDebug::forceCoreDump();
        if (getpid() != before) return 1;  // the copy must not get here
        if (child <= 0 || child == before) return 2;
        if (endOf(child) != 128 + SIGABRT) return 3;
        std::printf("child %d\n", child);
        return 0;
    });
    ASSERT_EQ(exitedWith(0), parent.wait()) << parent.standardOutput();

    const std::string trace = readFile(rawTraceOf(parent.pid()));
    ASSERT_EQ(0U, trace.find(traceHeader(SIGABRT))) << trace;
    EXPECT_NE(std::string::npos, trace.find('[', traceHeader(SIGABRT).size())) << trace;
    EXPECT_EQ(trace, readFile(storedTraceOf(parent.pid()))) << "not handed to the crash store";
    const std::string output = parent.standardOutput();
    const std::string::size_type at = output.rfind("child ");
    ASSERT_NE(std::string::npos, at) << output;
    EXPECT_NE(std::string::npos,
              scene.report().find("/CrashReport_" +
                                  std::to_string(std::stoi(output.substr(at + 6))) + "_testhost_"))
        << scene.report();
}

TEST_F(HCrashRptDebugTest, ForcedCoreDumpDiesOfTheSignalWhereNoHandlerIsInstalled) {
    ChildProcess parent =
        host([] { return endOf(HCrashRptDebug::forceCoreDump()) == -SIGABRT ? 0 : 1; });
    EXPECT_EQ(exitedWith(0), parent.wait());
    EXPECT_EQ("", parent.standardOutput());
}

// A second host that runs on would be worse than none that dies.
TEST_F(HCrashRptDebugTest, ForcedCoreDumpDiesThoughTheHostIgnoresTheSignal) {
    ChildProcess parent = host([] {
        signal(SIGABRT, SIG_IGN);
        return endOf(HCrashRptDebug::forceCoreDump()) == -SIGABRT ? 0 : 1;
    });
    EXPECT_EQ(exitedWith(0), parent.wait());
}

TEST_F(HCrashRptDebugTest, ForcedCoreDumpReachesTheHandlerThoughTheHostBlocksTheSignal) {
    ChildProcess parent = host([this] {
        installHandler();
        sigset_t abortOnly;
        sigemptyset(&abortOnly);
        sigaddset(&abortOnly, SIGABRT);
        pthread_sigmask(SIG_BLOCK, &abortOnly, nullptr);
        return endOf(HCrashRptDebug::forceCoreDump()) == 128 + SIGABRT ? 0 : 1;
    });
    ASSERT_EQ(exitedWith(0), parent.wait());
    EXPECT_EQ(0U, readFile(rawTraceOf(parent.pid())).find(traceHeader(SIGABRT)));
}

TEST_F(HCrashRptDebugTest, ForcedCoreDumpPrintsNothingOfTheHostsTwice) {
    ChildProcess parent = host([this] {
        installHandler();
        std::printf("said by the host\n");
        return endOf(HCrashRptDebug::forceCoreDump()) == 128 + SIGABRT ? 0 : 1;
    });
    ASSERT_EQ(exitedWith(0), parent.wait());
    const std::string output = parent.standardOutput();
    EXPECT_EQ(0U, output.find("said by the host\n")) << output;
    EXPECT_EQ(std::string::npos, output.find("said by the host", 1)) << output;
    EXPECT_NE(std::string::npos, output.find("(6) of process id")) << output;
}

TEST_F(HCrashRptDebugTest, ForcedCoreDumpIsMinusOneWhenThereCanBeNoChild) {
    ChildProcess parent = host([] {
        // The limit does not bind root.
        if (!becomeOrdinaryUser() || !setLimits(RLIMIT_NPROC, 0, 0)) return kNotReady;
        return HCrashRptDebug::forceCoreDump() == -1 ? 0 : 1;
    });
    EXPECT_EQ(exitedWith(0), parent.wait());
    EXPECT_EQ("", parent.standardOutput());
}

// --- setCoreFileSizeLimit -----------------------------------------------------------------------

TEST_F(HCrashRptDebugTest, FiniteHardLimitOfAnOrdinaryUserIsToldOnce) {
    ChildProcess child = ChildProcess::fork([]() -> int {
        if (!setLimits(RLIMIT_CORE, 0, kFiniteCoreSize) || !becomeOrdinaryUser()) _exit(kNotReady);
        HCrashRptDebug::setCoreFileSizeLimit();
        rlimit limits = {};
        getrlimit(RLIMIT_CORE, &limits);
        // Without a flush: what waits in the buffer is lost.
        _exit(limits.rlim_cur == 0 && limits.rlim_max == kFiniteCoreSize ? 0 : 1);
    });
    EXPECT_EQ(exitedWith(0), child.wait());
    EXPECT_EQ("[Crash Reporter] Error: Unable to set core dump size to unlimited\n",
              child.standardOutput());
}

TEST_F(HCrashRptDebugTest, LimitsAreLiftedWhereThatIsAllowed) {
    ChildProcess child = ChildProcess::fork([] {
        if (!setLimits(RLIMIT_CORE, 0, RLIM_INFINITY)) return kNotReady;
        HCrashRptDebug::setCoreFileSizeLimit();
        rlimit limits = {};
        getrlimit(RLIMIT_CORE, &limits);
        return limits.rlim_cur == RLIM_INFINITY && limits.rlim_max == RLIM_INFINITY ? 0 : 1;
    });
    const test_support::ExitState end = child.wait();
    if (end == exitedWith(kNotReady)) GTEST_SKIP() << "the hard limit is finite here";
    EXPECT_EQ(exitedWith(0), end);
    EXPECT_EQ("", child.standardOutput());
}

// Only few users may raise the hard limit in earnest.
TEST_F(HCrashRptDebugTest, SoftAndHardLimitOfCoreFilesAreLiftedInOneCall) {
    std::vector<rlimit> asked;
    const seams::ScopedSeam seam(seams::onSetrlimit, [&](int resource, const rlimit& limits) {
        EXPECT_EQ(static_cast<int>(RLIMIT_CORE), resource);
        asked.push_back(limits);
        return 0;
    });
    const test_support::StdoutCapture output;
    HCrashRptDebug::setCoreFileSizeLimit();
    ASSERT_EQ(1U, asked.size());
    EXPECT_EQ(RLIM_INFINITY, asked[0].rlim_cur);
    EXPECT_EQ(RLIM_INFINITY, asked[0].rlim_max);
    EXPECT_EQ("", output.text());
}

// --- forceStackOverflow -------------------------------------------------------------------------

TEST_F(HCrashRptDebugTest, ForcedStackOverflowIsReportedOrSpinsForEver) {
    constexpr int kReturned = 3;
    constexpr auto kPatience = std::chrono::seconds(3);  // for a build in which it may spin
    constexpr rlim_t kStackSize = 1U << 20U;  // bytes; unlimited, it could take all memory
    ChildProcess child = host([this] {
        if (!setLimits(RLIMIT_STACK, kStackSize, kStackSize)) return kNotReady;
        installHandler();
        HCrashRptDebug::forceStackOverflow(7);
        return kReturned;
    });
    if (!test_support::eventually([&child] { return child.hasEnded(); }, kPatience)) {
        child.signal(SIGKILL);
        EXPECT_EQ(test_support::killedBy(SIGKILL), child.wait());
        return;
    }
    EXPECT_EQ(exitedWith(128 + SIGSEGV), child.wait());
    EXPECT_EQ(0U, readFile(rawTraceOf(child.pid())).find(traceHeader(SIGSEGV)));
}

}  // namespace
