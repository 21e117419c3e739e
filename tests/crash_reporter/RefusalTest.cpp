// Places that the crash reporter must not use.
#include <sys/stat.h>
#include <unistd.h>

#include "ServedSession.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using namespace test_support;

class RefusalTest : public testing::Test, protected ServedSession {
  protected:
    RefusalTest() { fs::create_directories(session.store); }

    /// @param what the place and the reason, as the crash reporter puts them.
    void expectRefused(const std::string& what, bool hasLog) {
        ChildProcess reporter = session.startReporter();
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(1));
        EXPECT_EQ(reporter.standardError(), "crash_reporter: refusing " + what + "\n");
        EXPECT_EQ(reporter.standardOutput(), "");
        if (!hasLog) return;
        EXPECT_EQ(timesIn(session.log(reporter.pid()),
                          "[Crash Reporter] Error: refusing " + what + ", leaving.\n"),
                  1U);
    }
    /// Moves something to a place of its own and leaves a link to it.
    void replaceByLink(const std::string& path) {
        fs::rename(path, target);
        fs::create_symlink(target, path);
    }
    const std::string target = session.directory / "target";
};

TEST_F(RefusalTest, ALinkInThePlaceOfTheSessionDirectoryOrTheOneAboveIt) {
    fs::remove_all(session.store);
    const std::string scratch = session.work + "/.crashReporter";
    replaceByLink(session.sessionDirectory);
    expectRefused("session directory " + session.sessionDirectory + ", which is a symbolic link",
                  false);
    EXPECT_TRUE(fs::is_empty(target));
    fs::remove_all(scratch);
    fs::create_symlink(target, scratch);
    expectRefused("directory " + scratch + ", which is a symbolic link", false);
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(RefusalTest, ALinkInThePlaceOfTheCrashStore) {
    replaceByLink(session.store);
    expectRefused("crash store " + session.store + ", which is a symbolic link", true);
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(RefusalTest, ALinkInThePlaceOfTheRegistrationFile) {
    writeFile(session.registrations, "");
    for (const bool leadsAnywhere : {true, false}) {
        fs::remove(session.registrations);
        if (leadsAnywhere) writeFile(target, "");
        fs::create_symlink(target, session.registrations);
        expectRefused("registration file " + session.registrations + ", which is a symbolic link",
                      true);
        EXPECT_EQ(fs::exists(target), leadsAnywhere);
        fs::remove(target);
    }
}

TEST_F(RefusalTest, SomethingElseThanAFileInThePlaceOfTheRegistrationFile) {
    ASSERT_EQ(mkfifo(session.registrations.c_str(), 0600), 0);
    expectRefused("registration file " + session.registrations + ", which is not a regular file",
                  true);
}

TEST_F(RefusalTest, AnotherUsersPlaces) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to give files away";
    const auto giveAway = [](const std::string& path) {
        return chown(path.c_str(), 65534, 65534) == 0;
    };
    writeFile(session.registrations, "");
    ASSERT_TRUE(giveAway(session.registrations));
    expectRefused("registration file " + session.registrations + ", which belongs to another user",
                  true);
    ASSERT_TRUE(giveAway(session.store));
    expectRefused("crash store " + session.store + ", which belongs to another user", true);
    ASSERT_TRUE(giveAway(session.sessionDirectory));
    expectRefused(
        "session directory " + session.sessionDirectory + ", which belongs to another user", false);
}

TEST_F(RefusalTest, OthersRightsToItsOwnPlacesAreTakenAway) {
    fs::create_directory(session.backup);
    ChildProcess host = registerHost();
    for (const std::string& path : {session.work + "/.crashReporter", session.sessionDirectory,
                                    session.store, session.backup})
        ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    ASSERT_EQ(chmod(session.registrations.c_str(), 0666), 0);
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    const std::string log = session.log(reporter.pid());
    for (const std::string& path : {session.work + "/.crashReporter", session.sessionDirectory,
                                    session.store, session.backup, session.registrations}) {
        EXPECT_EQ(fs::status(path).permissions() & fs::perms(0077), fs::perms::none) << path;
        EXPECT_EQ(timesIn(log, "[Crash Reporter] Took other users' rights to " + path + " away.\n"),
                  1U);
    }
}

}  // namespace
