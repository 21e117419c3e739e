// Killed before any of its calls that change files, the crash reporter loses nothing: the next
// start delivers what was left, and every report is filed once.
#include <signal.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "CallByCall.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using namespace test_support;

/// Each case walks through every n-th point; together they walk through all.
constexpr int kShares = 4;

const std::map<std::string, std::string> kReports = {{"CrashReport_1.json", "{1}"},
                                                     {"CrashReport_2.json", "{2}"}};

/// Where CTest's caller wants to know how many points there are.
void noteProbe(const char* scenario) {
    if (const char* const path = std::getenv("KILL_POINTS_FILE"))
        std::ofstream(path, std::ios::app) << scenario << '\n';
}

/// One session, killed once.
class Trial : public ServedSession {
  public:
    explicit Trial(bool hostLives) : m_hostLives(hostLives) {
#ifdef __SANITIZE_ADDRESS__
        const char* options = std::getenv("ASAN_OPTIONS");
        session.environment["ASAN_OPTIONS"] =
            std::string(options == nullptr ? "" : options) + ":detect_leaks=0";
#endif
        if (hostLives)
            m_host.emplace(registerHost());
        else
            session.writeRegistrations(CrashSession::recordOf(kDeadPid) + "\n");
        for (const int pid : {1, 2}) m_logs.push_back(addRawTrace(pid));
        for (const auto& [name, content] : kReports) session.addReport(name, content);
    }

    /// @return whether the call was reached.
    bool runAndKill(CallByCall::Victims victims, int before) {
        CallByCall reporter(session, victims, before);
        reporter.run([this](pid_t pid) { leaveWhenDone(pid); });
        const bool goesOn = !reporter.hasKilled() || victims == CallByCall::Victims::pass;
        EXPECT_EQ(reporter.end(), goesOn ? exitedWith(0) : test_support::killedBy(SIGKILL));
        return reporter.hasKilled();
    }
    void runAgain() {
        ChildProcess reporter = session.startReporter();
        EXPECT_TRUE(session.eventually([&] {
            leaveWhenDone(reporter.pid());
            return reporter.hasEnded();
        }));
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    }

    void expectNothingLost() const {
        std::vector<std::string> expected;
        const std::map<std::string, int> arrived = delivered();
        const std::vector<std::string> filed = session.filed();
        for (const auto& [name, content] : kReports) {
            std::vector<std::string> copies;
            for (const std::string& copy : filed)
                if (copy.rfind(name + ".send_", 0) == 0) copies.push_back(copy);
            ASSERT_EQ(copies.size(), 1U) << name << " in " << testing::PrintToString(filed);
            EXPECT_EQ(readFile(session.backup + "/" + copies[0]), content);
            EXPECT_GE(arrived.count(name), 1U) << name;
        }
        EXPECT_TRUE(session.inStore("CrashReport_").empty());
        for (const std::string& name : namesIn(session.store))
            EXPECT_NE(name[0], '.') << "left over: " << name;
        if (readFile(session.registrations).empty()) return;  // a fresh store
        for (const std::string& log : m_logs) EXPECT_EQ(timesIn(readFile(log), "libf.so(f()"), 1U);
    }

  private:
    /// Ends the host, and with it the crash reporter. One that has begun a session afresh, where
    /// nobody lives, would wait for hosts: it is asked to leave.
    void leaveWhenDone(pid_t reporter) {
        if (doReportsWait()) return;
        if (m_hostLives) {
            for (const std::string& log : m_logs)
                if (!fs::exists(log)) return;
            m_host->signal(SIGKILL);
            m_host->wait();
            m_hostLives = false;
        }
        std::error_code missing;
        if (m_asked == reporter || fs::file_size(session.registrations, missing) != 0 || missing)
            return;
        std::ifstream log(session.logPath(reporter));
        const std::string text(std::istreambuf_iterator<char>(log), {});
        if (text.find(" registration file ") == std::string::npos) return;  // has only just begun
        kill(reporter, SIGTERM);
        m_asked = reporter;
    }

    /// The store itself may be deleted at any time.
    bool doReportsWait() const {
        for (const auto& [name, content] : kReports)
            if (fs::exists(session.store + "/" + name)) return true;
        return false;
    }

    bool m_hostLives;
    std::optional<ChildProcess> m_host;
    std::vector<std::string> m_logs;
    pid_t m_asked = -1;
};

class KillPointsTest : public testing::TestWithParam<int> {
  protected:
    KillPointsTest() { possible = CallByCall::isPossible(); }

    /// @param minPoints for this share. A walk that met none would pass without having killed
    /// anything. Some hundred points belong to a whole run, a quarter of them to each share; how
    /// many there are varies with the order of events.
    void walk(const char* scenario, bool hostLives, CallByCall::Victims victims, int minPoints) {
        if (!possible) GTEST_SKIP() << "this system lets no process follow its children";
#ifdef HCRPT_COVERAGE
        GTEST_SKIP() << "the counters' files would be points, too";
#endif
        int points = 0;
        for (int before = GetParam() + 1;; before += kShares) {
            SCOPED_TRACE(before);
            Trial trial(hostLives);
            const bool killed = trial.runAndKill(victims, before);
            if (killed) {
                noteProbe(scenario);
                ++points;
            }
            if (killed && victims == CallByCall::Victims::all) trial.runAgain();
            trial.expectNothingLost();
            if (!killed || HasFailure()) break;
        }
        EXPECT_GE(points, minPoints);
    }

    bool possible = false;
};

TEST_P(KillPointsTest, KilledWhileItServesAHost) {
    walk("serving", true, CallByCall::Victims::all, 12);
}

TEST_P(KillPointsTest, KilledWhileItGoesThroughAnEarlierSession) {
    walk("earlier session", false, CallByCall::Victims::all, 12);
}

TEST_P(KillPointsTest, ItsPassKilled) {
    walk("pass only", true, CallByCall::Victims::pass, 6);
}

INSTANTIATE_TEST_SUITE_P(, KillPointsTest, testing::Range(0, kShares),
                         [](const auto& share) { return "Share" + std::to_string(share.param); });

}  // namespace
