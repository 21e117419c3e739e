#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "lifecycle/SendPass.h"
#include "lifecycle/Session.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using namespace test_support;
using Names = std::vector<std::string>;

constexpr char kSendSuccess[] = "[Crash Reporter] Velcurl send success\n";
constexpr char kEmpty[] = "[Crash Reporter] Empty crash report not sent.\n";
constexpr char kNoConsent[] =
    "[Crash Reporter] Crash report is not transmitted as no consent to send received.\n";

const HCrashRptSettings::ConsentType consentAtLoad = HCrashReporter::consentType;

class ProbeAndSendTest : public lifecycle_test::SessionTest {
  protected:
    ProbeAndSendTest() {
        answerConsent(HCrashRptSettings::CONSENT_GIVEN);
        sources.waitingReports = [] {
            Names reports = HCrashReportMgr::probeAndGetCrashReports();
            std::sort(reports.begin(), reports.end());
            return reports;
        };
        std::filesystem::create_directory(data + "/telemon");
        writeFile(data + "/telemon/cacert.pem", "certificate");
        makeStore();
    }

    std::string moved(const std::string& name) const {
        return "[Crash Reporter] Moved crash report to backup store at " + backup + "/" + name +
               "\n";
    }
    bool isBackupMade() const { return std::filesystem::exists(backup); }
    void answerConsent(HCrashRptSettings::ConsentType answer) {
        sources.consent = [this, answer] {
            ++consentQuestions;
            return answer;
        };
    }
    void limitTo(int reports) {
        sources.sendLimit = [reports] { return reports; };
    }
    /// A pass over the reports in the order of their names.
    bool send() const { return hcrpt::makeSendPass(sources); }

    hcrpt::SendPassSources sources;
    int consentQuestions = 0;
};

// --- hasCrashReports ------------------------------------------------------------------------

TEST_F(ProbeAndSendTest, HasCrashReportsOnlyAsks) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::hasCrashReports());
    add("hs_err_pid1.log");
    EXPECT_FALSE(HCrashReporter::hasCrashReports());
    const std::string report = add("CrashReport_1.json");
    EXPECT_TRUE(HCrashReporter::hasCrashReports());
    EXPECT_TRUE(std::filesystem::exists(report));
    EXPECT_EQ(tool.calls(), 0);
    EXPECT_EQ(HCrashReporter::consentType, HCrashRptSettings::CONSENT_NOT_ASKED);
    EXPECT_EQ(output.text(), "");
}

TEST_F(ProbeAndSendTest, WithoutACrashStoreThereAreNoReports) {
    std::filesystem::remove(store);
    EXPECT_FALSE(HCrashReporter::hasCrashReports());
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
}

TEST_F(ProbeAndSendTest, RawTracesBecomeReadableOnTheWay) {
    add("hs_mangled_err_pid7.log", "/opt/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n");
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(readFile(store + "/hs_err_pid7.log"), "libfoo.so(foo::bar()+0x1a)[0x7f00]\n");
}

// --- getConsentAndBackupStatus --------------------------------------------------------------

TEST_F(ProbeAndSendTest, ConsentIsNotKnownWhenTheLibraryIsLoaded) {
    EXPECT_EQ(consentAtLoad, HCrashRptSettings::CONSENT_NOT_ASKED);
}

TEST_F(ProbeAndSendTest, ConsentIsAskedForOnlyWhenItIsNotKnown) {
    for (const auto known : {HCrashRptSettings::CONSENT_GIVEN, HCrashRptSettings::CONSENT_LATER,
                             HCrashRptSettings::CONSENT_REFUSED}) {
        auto consent = known;
        auto status = HCrashRptSettings::SEND_SUCCESS;
        HCrashReporter::getConsentAndBackupStatus(consent, status);
        EXPECT_EQ(consent, known);
    }
    auto consent = HCrashRptSettings::CONSENT_NOT_ASKED;
    auto status = HCrashRptSettings::SEND_SUCCESS;
    EXPECT_TRUE(HCrashReporter::getConsentAndBackupStatus(consent, status));
    EXPECT_EQ(consent, HCrashRptSettings::CONSENT_GIVEN) << "the form's answer";
}

TEST_F(ProbeAndSendTest, ConsentDecidesResultAndStatus) {
    struct Case {
        HCrashRptSettings::ConsentType consent;
        HCrashRptSettings::RptBackupStatus before;
        bool result;
        HCrashRptSettings::RptBackupStatus after;
    };
    const Case cases[] = {
        {HCrashRptSettings::CONSENT_GIVEN, HCrashRptSettings::SEND_FAIL, true,
         HCrashRptSettings::SEND_FAIL},
        {HCrashRptSettings::CONSENT_LATER, HCrashRptSettings::SEND_FAIL, true,
         HCrashRptSettings::SEND_LATER},
        {HCrashRptSettings::CONSENT_REFUSED, HCrashRptSettings::SEND_FAIL, false,
         HCrashRptSettings::SEND_FAIL},
    };
    for (const Case& each : cases) {
        for (const bool asked : {false, true}) {
            answerConsent(each.consent);
            auto consent = asked ? each.consent : HCrashRptSettings::CONSENT_NOT_ASKED;
            auto status = each.before;
            EXPECT_EQ(hcrpt::decideOnConsent(sources, consent, status), each.result)
                << each.consent;
            EXPECT_EQ(consent, each.consent);
            EXPECT_EQ(status, each.after) << each.consent;
        }
    }
}

// --- probeAndSendCrashReports ---------------------------------------------------------------

TEST_F(ProbeAndSendTest, AnEmptyStoreIsSuccessAndNobodyIsAsked) {
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(consentQuestions, 0);
    EXPECT_EQ(HCrashReporter::consentType, HCrashRptSettings::CONSENT_NOT_ASKED);
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(isBackupMade());
}

TEST_F(ProbeAndSendTest, AReportIsUploadedThenConfirmedThenMoved) {
    const std::string report = add("CrashReport_1.json", "content");
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(namesIn(backup), Names{"CrashReport_1.json.send_success"});
    EXPECT_EQ(readFile(backup + "/CrashReport_1.json.send_success"), "content");
    EXPECT_FALSE(std::filesystem::exists(report));
    EXPECT_EQ(tool.calls(), 1);
    const std::string text = output.flushedText();
    const std::string end =
        "[Crash Reporter] Successfully sent error report to server, report = " + report + "\n" +
        kSendSuccess + moved("CrashReport_1.json.send_success");
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(ProbeAndSendTest, ConsentIsAskedOncePerProcess) {
    StdoutCapture output;
    add("CrashReport_1.json");
    EXPECT_TRUE(send());
    add("CrashReport_2.json");
    EXPECT_TRUE(send());
    EXPECT_EQ(consentQuestions, 1);
    EXPECT_EQ(HCrashReporter::consentType, HCrashRptSettings::CONSENT_GIVEN);
}

TEST_F(ProbeAndSendTest, AFailedUploadIsFiledAndItsMessageContinuesTheLine) {
    const std::string report = add("CrashReport_1.json", "content");
    tool.answer("refused\n", 22);
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(namesIn(backup), Names{"CrashReport_1.json.send_fail"});
    EXPECT_EQ(readFile(backup + "/CrashReport_1.json.send_fail"), "content");
    EXPECT_FALSE(std::filesystem::exists(report));
    const std::string text = output.flushedText();
    const std::string end =
        "[Crash Reporter] CURL LOG: refused\n"
        "[Crash Reporter] Error:  Unable to send error report to server, report = " +
        report + moved("CrashReport_1.json.send_fail");
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(ProbeAndSendTest, WithoutACertificateReportsAreFiledAsFailures) {
    std::filesystem::remove(data + "/telemon/cacert.pem");
    add("CrashReport_1.json");
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Error: CA certificate file  does not exist.\n" +
                  moved("CrashReport_1.json.send_fail"));
    EXPECT_EQ(tool.calls(), 0);
}

TEST_F(ProbeAndSendTest, AfterAFailureLaterSuccessesOfTheSamePassAreFiledAsFailures) {
    for (const char* name : {"CrashReport_1", "CrashReport_2", "CrashReport_3", "CrashReport_4"})
        add(name);
    tool.answerCall(2, "refused\n");
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(tool.calls(), 4);
    EXPECT_EQ(namesIn(backup), (Names{"CrashReport_1.send_success", "CrashReport_2.send_fail",
                                      "CrashReport_3.send_fail", "CrashReport_4.send_fail"}));
    EXPECT_EQ(timesIn(output.text(), kSendSuccess), 3u);
    EXPECT_EQ(namesIn(store), Names{});
}

TEST_F(ProbeAndSendTest, TheNextPassStartsWithSuccessAgain) {
    add("CrashReport_1");
    tool.answerCall(1, "refused\n");
    StdoutCapture output;
    EXPECT_TRUE(send());
    add("CrashReport_2");
    EXPECT_TRUE(send());
    EXPECT_EQ(namesIn(backup), (Names{"CrashReport_1.send_fail", "CrashReport_2.send_success"}));
}

TEST_F(ProbeAndSendTest, AReportThatSurvivesItsMoveIsRemovedAfterASuccess) {
    const std::string report = add("CrashReport_1.json");
    int removals = 0;
    platform.onRm = [&](const std::string& path) {
        if (path == report && ++removals == 1) return false;
        return std::filesystem::remove(path);
    };
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(removals, 2);
    EXPECT_FALSE(std::filesystem::exists(report));
}

TEST_F(ProbeAndSendTest, AfterAFailureOnlyTheMoveRemovesTheReport) {
    const std::string report = add("CrashReport_1.json");
    tool.answer("refused\n");
    int removals = 0;
    platform.onRm = [&](const std::string& path) {
        if (path == report) ++removals;
        return std::filesystem::remove(path);
    };
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(removals, 1);
}

TEST_F(ProbeAndSendTest, AnEmptyReportIsRemovedNotSentAndNotCounted) {
    add("CrashReport_1", "");
    add("CrashReport_2");
    add("CrashReport_3");
    add("CrashReport_4");
    limitTo(2);
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(output.flushedText().rfind(kEmpty, 0), 0u);
    EXPECT_EQ(tool.calls(), 2);
    EXPECT_EQ(namesIn(backup), (Names{"CrashReport_2.send_success", "CrashReport_3.send_success"}));
    EXPECT_EQ(namesIn(store), Names{"CrashReport_4"});
}

// --- Stop --------------------------------------------------------------------------------------

TEST_F(ProbeAndSendTest, AskedToStopItFilesTheReportThatItIsAtAndLeavesTheOthersForGood) {
    for (const char* name : {"CrashReport_1", "CrashReport_2", "CrashReport_3"}) add(name);
    writeFile(tool.path(), "#!/bin/sh\nkill -USR1 $SENDER\necho 'HTTP/1.1 200 OK'\n");
    // In a process of its own: there is no way back.
    auto child = test_support::ChildProcess::fork([this] {
        signal(SIGUSR1, [](int) { HCrashReporter::stopAfterThisReport(); });
        setenv("SENDER", std::to_string(getpid()).c_str(), 1);
        const bool first = send();
        const bool second = send();
        return first && second ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), test_support::exitedWith(0));
    EXPECT_EQ(namesIn(backup), Names{"CrashReport_1.send_success"});
    EXPECT_EQ(namesIn(store), (Names{"CrashReport_2", "CrashReport_3"}));
    EXPECT_EQ(timesIn(child.standardOutput(), kSendSuccess), 1u);
}

// --- Limit ------------------------------------------------------------------------------------

TEST_F(ProbeAndSendTest, ALimitOfOneSendsOneOfThreeReports) {
    for (const char* name : {"CrashReport_1", "CrashReport_2", "CrashReport_3"}) add(name);
    limitTo(1);
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(tool.calls(), 1);
    EXPECT_EQ(namesIn(store), (Names{"CrashReport_2", "CrashReport_3"}));
    const std::string end = kSendSuccess + moved("CrashReport_1.send_success") +
                            "[Crash Reporter] Crash report send limit of 1 files reached.\n";
    const std::string text = output.flushedText();
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(ProbeAndSendTest, ALimitOfNoneOrLessStopsAfterTheFirstSuccess) {
    for (const int limit : {0, -7}) {
        SCOPED_TRACE(limit);
        add("CrashReport_1");
        add("CrashReport_2");
        limitTo(limit);
        StdoutCapture output;
        EXPECT_TRUE(send());
        EXPECT_EQ(namesIn(store), Names{"CrashReport_2"});
        EXPECT_EQ(timesIn(output.text(), "[Crash Reporter] Crash report send limit of " +
                                             std::to_string(limit) + " files reached.\n"),
                  1u);
    }
}

TEST_F(ProbeAndSendTest, FailedUploadsDoNotCountAgainstTheLimit) {
    for (const char* name : {"CrashReport_1", "CrashReport_2", "CrashReport_3", "CrashReport_4"})
        add(name);
    tool.answerCall(1, "refused\n");
    limitTo(2);
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(tool.calls(), 3);
    EXPECT_EQ(namesIn(backup), (Names{"CrashReport_1.send_fail", "CrashReport_2.send_fail",
                                      "CrashReport_3.send_fail"}));
    EXPECT_EQ(namesIn(store), Names{"CrashReport_4"});
}

TEST_F(ProbeAndSendTest, OnePassSendsThirtyReportsAndTheNextTheRest) {
    for (int i = 10; i < 41; ++i) add("CrashReport_" + std::to_string(i));
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(namesIn(store), Names{"CrashReport_40"});
    EXPECT_EQ(timesIn(output.text(), kSendSuccess), 30u);
    EXPECT_EQ(
        timesIn(output.text(), "[Crash Reporter] Crash report send limit of 30 files reached.\n"),
        1u);
    EXPECT_TRUE(send());
    EXPECT_EQ(namesIn(store), Names{});
    EXPECT_EQ(timesIn(output.text(), "send limit"), 1u);
}

TEST_F(ProbeAndSendTest, ThirtyReportsReachTheLimitToo) {
    for (int i = 10; i < 40; ++i) add("CrashReport_" + std::to_string(i));
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
    EXPECT_EQ(
        timesIn(output.text(), "[Crash Reporter] Crash report send limit of 30 files reached.\n"),
        1u);
}

// --- Other consents ---------------------------------------------------------------------------

TEST_F(ProbeAndSendTest, RefusedConsentTouchesNothing) {
    add("CrashReport_1");
    add("CrashReport_2", "");
    answerConsent(HCrashRptSettings::CONSENT_REFUSED);
    StdoutCapture output;
    EXPECT_FALSE(send());
    EXPECT_EQ(HCrashReporter::consentType, HCrashRptSettings::CONSENT_REFUSED);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(tool.calls(), 0);
    EXPECT_EQ(namesIn(store), (Names{"CrashReport_1", "CrashReport_2"}));
    EXPECT_FALSE(isBackupMade());
    EXPECT_FALSE(send());
    EXPECT_EQ(consentQuestions, 1);
}

TEST_F(ProbeAndSendTest, WithoutReportsEvenRefusedConsentIsSuccess) {
    HCrashReporter::consentType = HCrashRptSettings::CONSENT_REFUSED;
    EXPECT_TRUE(HCrashReporter::probeAndSendCrashReports());
}

TEST_F(ProbeAndSendTest, ConsentForLaterFilesEveryReportWithoutSending) {
    add("CrashReport_1");
    add("CrashReport_2", "");
    add("CrashReport_3");
    HCrashReporter::consentType = HCrashRptSettings::CONSENT_LATER;
    limitTo(1);
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(output.flushedText(), kNoConsent + moved("CrashReport_1.send_later") + kEmpty +
                                        kNoConsent + moved("CrashReport_3.send_later"));
    EXPECT_EQ(tool.calls(), 0);
    EXPECT_EQ(namesIn(store), Names{});
}

TEST_F(ProbeAndSendTest, ConsentThatStaysUnknownIsAskedForAgainAndFilesUnderTheCurrentStatus) {
    answerConsent(HCrashRptSettings::CONSENT_NOT_ASKED);
    add("CrashReport_1");
    StdoutCapture output;
    EXPECT_TRUE(send());
    EXPECT_EQ(output.flushedText(), kNoConsent + moved("CrashReport_1.send_success"));
    add("CrashReport_2");
    EXPECT_TRUE(send());
    EXPECT_EQ(consentQuestions, 2);
}

}  // namespace
