#include <gtest/gtest.h>

#include <regex>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptTransmit.h"
#include "support/FakeUploadTool.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "utils/Message.h"

namespace {

using namespace test_support;

constexpr char kNoCertificate[] = "[Crash Reporter] Error: CA certificate file  does not exist.\n";

/// The text with "<time>" in place of each time such as "Sun Nov 15 18:42:43 2026".
std::string withoutTimes(const std::string& text) {
    static const std::regex time(
        "(Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z]{2} [ 123][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} "
        "[0-9]{4}");
    return std::regex_replace(text, time, "<time>");
}

/// Writes down for which file the data directory was asked.
class RecordingPlatform : public ScopedFakePlatform {
  public:
    std::string dataDir(const std::string& relativePath) override {
        askedFor = relativePath;
        return ScopedFakePlatform::dataDir(relativePath);
    }
    std::string askedFor;
};

class HCrashRptFileTransmitMgrTest : public testing::Test {
  protected:
    HCrashRptFileTransmitMgrTest() {
        platform.fakeTmpDir = directory.path();
        platform.fakeDataDir = directory / "data";
        platform.fakeAppRoot = tool.appRoot();
        std::filesystem::create_directories(directory / "CrashReporter");
        std::filesystem::create_directories(directory / "data/telemon");
    }

    void installCertificate() { writeFile(certificate, "certificate"); }

    std::string commandLine() const {
        return "[Crash Reporter] Running cmd: " + tool.path() + "  --verbose --cacert " +
               certificate + " -F file_loc=@\"" + report +
               "\" -F domain=" HCRPT_DOMAIN_NAME " -F access=" HCRPT_ACCESS_CODE " " +
               HCrashRptSettings::getKorServerUrl() + " > " +
               (directory / "CrashReporter/curlOut.log") + " 2>&1\n";
    }

    TempDir directory;
    RecordingPlatform platform;
    FakeUploadTool tool;
    const std::string certificate = directory / "data/telemon/cacert.pem";
    const std::string report = directory / "CrashReport_1.json";
    const std::string sending = "[Crash Reporter] <time> : Sending crash report to Veltra server " +
                                HCrashRptSettings::getKorServerUrl() + "\n";
};

// --- Settings -------------------------------------------------------------------------------

TEST_F(HCrashRptFileTransmitMgrTest, ClientInfoHoldsTheCertificateWhenThereIsOne) {
    installCertificate();
    StdoutCapture output;
    const ClientInfoCL info = HCrashRptFileTransmitMgr::getClientInfo();
    EXPECT_EQ(info.getCacert(), certificate);
    EXPECT_EQ(platform.askedFor, "telemon/cacert.pem");
    EXPECT_EQ(info.getTempDir(), directory / "CrashReporter");
    EXPECT_EQ(output.text(), "");
}

TEST_F(HCrashRptFileTransmitMgrTest, ForTheCertificateItIsEnoughToExist) {
    std::filesystem::create_directory(certificate);
    StdoutCapture output;
    EXPECT_EQ(HCrashRptFileTransmitMgr::getClientInfo().getCacert(), certificate);
    EXPECT_EQ(output.text(), "");
}

TEST_F(HCrashRptFileTransmitMgrTest, ClientInfoWithoutACertificateHasNoneAndSaysNothing) {
    StdoutCapture output;
    EXPECT_EQ(HCrashRptFileTransmitMgr::getClientInfo().getCacert(), "");
    EXPECT_EQ(output.text(), "");
}

TEST_F(HCrashRptFileTransmitMgrTest, ClientInfoHasNeitherRegistrationIdNorProxy) {
    StdoutCapture output;
    const ClientInfoCL info = HCrashRptFileTransmitMgr::getClientInfo();
    EXPECT_EQ(info.getRegId(), "");
    EXPECT_EQ(info.getProxy(), "");
}

TEST_F(HCrashRptFileTransmitMgrTest, ClientInfoDumpsCoresIntoTheWorkingDirectory) {
    StdoutCapture output;
    EXPECT_EQ(HCrashRptFileTransmitMgr::getClientInfo().getCoreDumpDir(), "./");
}

TEST_F(HCrashRptFileTransmitMgrTest, ClientInfoMakesTheTemporaryDirectory) {
    std::filesystem::remove(directory / "CrashReporter");
    StdoutCapture output;
    EXPECT_EQ(HCrashRptFileTransmitMgr::getClientInfo().getTempDir(), directory / "CrashReporter");
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] created tmp dir :" + (directory / "CrashReporter") + "\n");
}

TEST_F(HCrashRptFileTransmitMgrTest, ServerInfoInsideTheNetworkNamesTheMakersDomain) {
    platform.fakeInsideVeltra = true;
    platform.fakeDomainName = "elsewhere.example";
    const ServerInfoCL info = HCrashRptFileTransmitMgr::getVelServerInfo();
    EXPECT_EQ(info.getUrl(), HCrashRptSettings::getKorServerUrl());
    EXPECT_EQ(info.getDomainName(), HCRPT_DOMAIN_NAME);
    EXPECT_EQ(info.getAccess(), HCRPT_ACCESS_CODE);
}

TEST_F(HCrashRptFileTransmitMgrTest, ServerInfoOutsideTheNetworkNamesTheHostsDomain) {
    platform.fakeInsideVeltra = false;
    platform.fakeDomainName = "elsewhere.example";
    const ServerInfoCL info = HCrashRptFileTransmitMgr::getVelServerInfo();
    EXPECT_EQ(info.getUrl(), HCrashRptSettings::getKorServerUrl());
    EXPECT_EQ(info.getDomainName(), "elsewhere.example");
    EXPECT_EQ(info.getAccess(), HCRPT_ACCESS_CODE);
}

TEST_F(HCrashRptFileTransmitMgrTest, ServerInfoOfAHostWithoutDomainHasNone) {
    platform.fakeInsideVeltra = false;
    platform.fakeDomainName = "";
    EXPECT_EQ(HCrashRptFileTransmitMgr::getVelServerInfo().getDomainName(), "");
}

TEST_F(HCrashRptFileTransmitMgrTest, TheAccessCodeHasFiveCharactersOneOfThemADigit) {
    const std::string access = HCrashRptFileTransmitMgr::getVelServerInfo().getAccess();
    EXPECT_EQ(access.size(), 5u);
    EXPECT_EQ(access.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789"), std::string::npos);
    EXPECT_EQ(access.find_first_of("0123456789"), access.find_last_of("0123456789"));
    EXPECT_NE(access.find_first_of("0123456789"), std::string::npos);
}

// --- uploadToServer -------------------------------------------------------------------------

TEST_F(HCrashRptFileTransmitMgrTest, WithoutACertificateEveryCallSaysSoAndRunsNothing) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(output.flushedText(), kNoCertificate);
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(output.flushedText(), std::string(kNoCertificate) + kNoCertificate);
    EXPECT_EQ(tool.calls(), 0);
}

TEST_F(HCrashRptFileTransmitMgrTest, AnAcceptedReportIsAnnouncedSentAndConfirmed) {
    installCertificate();
    tool.answer("* Connected\n< HTTP/1.1 200 OK\n< more\n");
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(withoutTimes(output.flushedText()),
              sending + commandLine() +
                  "[Crash Reporter] CURL LOG: * Connected\n"
                  "[Crash Reporter] CURL LOG: < HTTP/1.1 200 OK\n"
                  "[Crash Reporter] Successfully sent error report to server, report = " +
                  report + "\n");
    EXPECT_EQ(tool.calls(), 1);
}

TEST_F(HCrashRptFileTransmitMgrTest, TheTextOfAFailureHasNeitherLineFeedNorFlush) {
    installCertificate();
    tool.answer("", 1);
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    const std::string before = sending + commandLine();
    EXPECT_EQ(withoutTimes(output.flushedText()), before);
    hcrpt::logInfo("the next message");
    EXPECT_EQ(withoutTimes(output.flushedText()),
              before + "[Crash Reporter] Error:  Unable to send error report to server, report = " +
                  report + "[Crash Reporter] the next message\n");
}

TEST_F(HCrashRptFileTransmitMgrTest, AMissingToolIsAFailureWithoutACommand) {
    installCertificate();
    std::filesystem::remove(tool.path());
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(withoutTimes(output.flushedText()), sending);
    EXPECT_EQ(
        withoutTimes(output.text()),
        sending +
            "[Crash Reporter] Error:  Unable to send error report to server, report = " + report);
}

TEST_F(HCrashRptFileTransmitMgrTest, SettingsAreGatheredAfreshForEveryReport) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    installCertificate();
    platform.fakeInsideVeltra = false;
    platform.fakeDomainName = "";
    EXPECT_TRUE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(tool.arguments(1),
              (std::vector<std::string>{"--verbose", "--cacert", certificate, "-F",
                                        "file_loc=@" + report, "-F", "access=" HCRPT_ACCESS_CODE,
                                        HCrashRptSettings::getKorServerUrl()}));
}

TEST_F(HCrashRptFileTransmitMgrTest, TheTemporaryDirectoryIsMadeBeforeTheCertificateIsMissed) {
    std::filesystem::remove(directory / "CrashReporter");
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(report));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] created tmp dir :" +
                                        (directory / "CrashReporter") + "\n" + kNoCertificate);
}

TEST_F(HCrashRptFileTransmitMgrTest, WithoutATemporaryDirectoryTheReportIsSentAllTheSame) {
    installCertificate();
    test_support::writeFile(directory / "file", "");
    platform.fakeTmpDir = directory / "file";
    const test_support::ScopedWorkingDirectory inside(directory.path());
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptFileTransmitMgr::uploadToServer(report));
    const std::string text = output.flushedText();
    EXPECT_EQ(text.find("[Crash Reporter] Error: Could not create tmp dir: " +
                        (directory / "file/CrashReporter") + "\n"),
              0u);
    EXPECT_NE(text.find(" > .//curlOut.log 2>&1\n"), std::string::npos);
}

TEST_F(HCrashRptFileTransmitMgrTest, AReportWhoseNameAShellActsOnIsNotHandedToIt) {
    installCertificate();
    for (const char* name :
         {"CrashReport_$(id).json", "CrashReport_`id`.json", "CrashReport_\"; id; \".json",
          "CrashReport_\\.json", "CrashReport_1.json\\", "$"}) {
        StdoutCapture output;
        EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(directory / name));
        EXPECT_EQ(output.text(), output.flushedText());
        EXPECT_EQ(output.text(), std::string("[Crash Reporter] Error: crash report not sent, its "
                                             "name holds characters that a shell acts on: ") +
                                     name + "\n");
    }
    EXPECT_EQ(tool.calls(), 0);
}

TEST_F(HCrashRptFileTransmitMgrTest, ALineFeedInAReportsNameDoesNotReachTheLog) {
    installCertificate();
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadToServer(
        directory / "CrashReport_\n[Crash Reporter] Velcurl send success\n.json"));
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Error: crash report not sent, its name holds characters that a "
              "shell acts on: CrashReport_?[Crash Reporter] Velcurl send success?.json\n");
    EXPECT_EQ(tool.calls(), 0);
}

TEST_F(HCrashRptFileTransmitMgrTest, OnlyTheNameOfAReportIsLookedAtNotItsDirectory) {
    installCertificate();
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptFileTransmitMgr::uploadToServer("/no$where/CrashReport_1.json"));
    EXPECT_EQ(tool.calls(), 1);
}

// --- uploadHttps ----------------------------------------------------------------------------

TEST_F(HCrashRptFileTransmitMgrTest, ThePathIsPrintedAsItWasPassedInBothOutcomes) {
    StdoutCapture output;
    const ClientInfoCL client;
    const std::string odd = ".//a b/../r.json ";
    EXPECT_TRUE(HCrashRptFileTransmitMgr::uploadHttps(odd, ServerInfoCL(), client));
    tool.answer("no");
    EXPECT_FALSE(HCrashRptFileTransmitMgr::uploadHttps(odd, ServerInfoCL(), client));
    const std::string command = "[Crash Reporter] Running cmd: " + tool.path() +
                                "  --verbose -F file_loc=@\"" + odd + "\"  > " +
                                (directory / "CrashReporter/curlOut.log") + " 2>&1\n";
    EXPECT_EQ(output.text(),
              command +
                  "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n"
                  "[Crash Reporter] Successfully sent error report to server, report = " +
                  odd + "\n" + command +
                  "[Crash Reporter] CURL LOG: no\n"
                  "[Crash Reporter] Error:  Unable to send error report to server, report = " +
                  odd);
}

}  // namespace
