// Report contents and access code are for their owner only, whatever the umask of the host.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "integration/CrashSession.h"

namespace {

namespace fs = std::filesystem;
using integration_test::CrashSession;
using integration_test::timesIn;
using namespace test_support;

class PrivacyTest : public testing::Test {
  protected:
    PrivacyTest() : m_before(umask(0)) {
        // In the midst of an upload: mode and path of all that lies there.
        session.replaceProgram("velcurl",
                               "#!/bin/sh\necho 'HTTP/1.1 200 OK'\n"
                               "find '" +
                                   session.work + "/.crashReporter' '" + session.directory.path() +
                                   "/tmp' '" + session.directory.path() +
                                   "/appdata' -type f -printf '%m %p\\n' >'" + seen + "'\n");
        writeFile(session.caFile, "a certificate");
    }
    ~PrivacyTest() override { umask(m_before); }

    /// Modes of the files during the upload, by their paths.
    std::map<std::string, unsigned> modesDuringTheUpload() const {
        std::map<std::string, unsigned> modes;
        std::istringstream lines(readFile(seen));
        unsigned mode = 0;
        for (std::string path;
             lines >> std::oct >> mode && lines.ignore() && std::getline(lines, path);)
            modes[path] = mode;
        return modes;
    }

    static void expectForTheOwnerOnly(const std::string& path, unsigned mode) {
        EXPECT_EQ(mode & (S_IRWXG | S_IRWXO), 0U) << path << " has mode " << std::oct << mode;
    }

    CrashSession session;
    const std::string seen = session.directory / "seen";

  private:
    const mode_t m_before;
};

TEST_F(PrivacyTest, NothingOfAnUploadCanBeReadByOthersDuringOrAfterIt) {
    ChildProcess host = session.startHost({"-crash", "null-write"});
    const pid_t reporter = session.reporterPid();
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(128 + SIGSEGV));
    EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
    ASSERT_EQ(session.filed().size(), 1U);
    const std::string filed = session.filed()[0];
    const std::string report = filed.substr(0, filed.rfind('.'));

    const auto during = modesDuringTheUpload();
    const std::string uploadLog = session.directory / "tmp/CrashReporter/curlOut.log";
    for (const std::string& path :
         {uploadLog, session.logPath(reporter), session.store + "/" + report})
        EXPECT_EQ(during.count(path), 1U) << path << " was not there";
    for (const auto& [path, mode] : during) expectForTheOwnerOnly(path, mode);

    EXPECT_GE(timesIn(session.log(reporter), "access=" ACCESS_CODE), 1U);
    EXPECT_FALSE(fs::exists(uploadLog));
    for (const char* place : {"work/.crashReporter", "tmp/CrashReporter", "appdata"})
        for (const auto& entry : fs::recursive_directory_iterator(session.directory / place))
            expectForTheOwnerOnly(entry.path(),
                                  static_cast<unsigned>(entry.status().permissions()));
    EXPECT_TRUE(fs::exists(session.backup + "/" + filed));
}

}  // namespace
