// What comes of an upload, whatever answers: one line says why it failed, the report is filed
// accordingly, and the crash reporter goes on. scripts/outcome-table makes a table of it.
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "integration/CrashSession.h"
#include "support/DeafPort.h"
#include "support/TlsServer.h"

namespace {

using integration_test::CrashSession;
using integration_test::timesIn;
using namespace test_support;
using Names = std::vector<std::string>;

/// What the deployment's server says when it has taken a report; must not help another answer.
constexpr char kSuccessText[] = "HTTP/1.1 200 OK";
/// Too long for a name, so that no name server is asked.
const std::string kNoName = std::string(64, 'x') + ".invalid";

class UploadOutcomesTest;

struct Outcome {
    const char* name;
    const char* what;  ///< for the table
    void (*arrange)(UploadOutcomesTest& test);
    int status;        ///< the upload tool's
    const char* line;  ///< its verdict, as a pattern of fnmatch(); HOST is the server's name
};
void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << outcome.what;
}

class UploadOutcomesTest : public testing::TestWithParam<Outcome> {
  public:
    // --- Who answers ---

    /// The real report server, with a chosen answer or its own.
    void startServer(const std::string& answer, const ReportServer::Options& options = {}) {
        server.emplace(session.directory / "server", options);
        if (!answer.empty()) server->setAnswer(answer);
        session.sendTo(*server);
        connectTo(std::to_string(server->port()));
    }
    void startTlsServer(const TlsServer::Manners& manners) {
        tlsServer.emplace(hostName(), manners);
        tlsServer->writeCaFile(session.caFile);
        session.environment["VELCURL_CONNECT_TO"] = tlsServer->connectTo();
    }
    /// One that answers each client at once, in plain HTTP, and closes the connection.
    void startPlainServer(const std::string& answer) {
        usePort(DeafPort::IS_SILENT);
        plainServer.emplace(ChildProcess::fork([&]() -> int {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                const int client = accept(port->listeningSocket(), nullptr, nullptr);
                if (client < 0) return 1;
                send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
                shutdown(client, SHUT_WR);
                char ignored[4096];
                while (read(client, ignored, sizeof ignored) > 0) continue;
                close(client);
            }
        }));
    }
    /// The same in the place of a proxy.
    void startProxy(const std::string& answer) {
        startPlainServer(answer);
        session.environment.erase("VELCURL_CONNECT_TO");
        session.environment["https_proxy"] = "http://127.0.0.1:" + port->number();
        for (const char* name : {"no_proxy", "NO_PROXY"}) session.environment[name] = "";
    }
    void usePort(DeafPort::Manner manner) {
        writeFile(session.caFile, readFile(session.directory / "ca.pem"));
        connectTo(port.emplace(manner).number());
    }
    void connectTo(const std::string& portNumber) { connectTo("127.0.0.1", portNumber); }
    void connectTo(const std::string& host, const std::string& portNumber) {
        session.environment["VELCURL_CONNECT_TO"] = hostName() + ":443:" + host + ":" + portNumber;
    }
    void beImpatient() { session.environment["VELCURL_MAX_TIME"] = "2"; }

    static std::string hostName() { return REPORT_SERVER_HOST; }

    CrashSession session;
    std::optional<ReportServer> server;
    std::optional<TlsServer> tlsServer;
    std::optional<DeafPort> port;
    std::optional<ChildProcess> plainServer;

  protected:
    UploadOutcomesTest() {
        // A certificate for those who never get so far that it counts.
        const test_support::TlsCertificate any(hostName(), test_support::TlsCertificate::VALID);
        any.writeAuthority(session.directory / "ca.pem");
        // The upload tool itself, whose status is written down.
        status = session.directory / "status";
        session.replaceProgram("velcurl", "#!/bin/sh\n'" INSTALLATION_ROOT
                                          "/bin/unwrapped/lnx64.o/velcurl' \"$@\"\nstatus=$?\n"
                                          "echo $status >'" +
                                              status + "'\nexit $status\n");
    }

    /// What the upload tool said, as far as the crash reporter passed it on.
    static Names echoedLines(const std::string& log) {
        const std::string start = "[Crash Reporter] CURL LOG: ";
        Names echoed;
        std::istringstream lines(log);
        for (std::string line; std::getline(lines, line);)
            if (line.compare(0, start.size(), start) == 0)
                echoed.push_back(line.substr(start.size()));
        return echoed;
    }

    static std::string withHostName(std::string pattern) {
        for (std::size_t at = 0; (at = pattern.find("HOST", at)) != std::string::npos;
             at += hostName().size())
            pattern.replace(at, 4, hostName());
        return pattern;
    }

    void writeTableLine(const std::string& line, const std::string& filed) const {
        const char* file = std::getenv("UPLOAD_OUTCOMES_FILE");
        if (file == nullptr) return;
        std::ofstream(file, std::ios::app)
            << "| " << GetParam().what << " | " << std::stoi(readFile(status)) << " | "
            << (line.empty() ? "–" : "`" + line + "`") << " | " << filed << " |\n";
    }

    std::string status;
};

TEST_P(UploadOutcomesTest, IsToldInOneLineFiledAndSurvived) {
    const Outcome& expected = GetParam();
    expected.arrange(*this);
    const bool success = expected.status == 0;

    ChildProcess host = ChildProcess::exec({"sleep", "60"});
    session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    session.addReport("CrashReport_a.json", "{\"a\": 1}");
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(session.eventually([&] { return session.inStore("CrashReport_").empty(); }));
    EXPECT_TRUE(session.goesOn(reporter.pid()));
    host.signal(SIGKILL);
    host.wait(session.timeLeft());
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));

    const std::string outcome = success ? "send_success" : "send_fail";
    EXPECT_EQ(session.filed(), Names{"CrashReport_a.json." + outcome});
    EXPECT_EQ(readFile(session.backup + "/CrashReport_a.json." + outcome), "{\"a\": 1}");
    if (server) {
        EXPECT_EQ(server->storedReports().size(), success ? 1U : 0U);
    }
    EXPECT_TRUE(std::filesystem::is_empty(session.tmp + "/CrashReporter"));

    const std::string log = session.log(reporter.pid());
    EXPECT_EQ(readFile(status), std::to_string(expected.status) + "\n") << log;
    EXPECT_EQ(timesIn(log, "[Crash Reporter] Velcurl send success\n"), success ? 1U : 0U);
    EXPECT_EQ(timesIn(log, "Unable to send error report to server"), success ? 0U : 1U);
    EXPECT_EQ(timesIn(log, "Successfully sent"), success ? 1U : 0U);
    const std::string told =
        success ? "\n[Crash Reporter] Successfully sent error report to server, report = "
                : "\n[Crash Reporter] Error:  Unable to send error report to server, report = ";
    EXPECT_TRUE(integration_test::standInOrder(
        log, {" : Sending crash report to Veltra server ",
              "\n[Crash Reporter] Running cmd: " + session.program("velcurl") + "  --verbose ",
              "\n[Crash Reporter] CURL LOG: ", told + session.store + "/CrashReport_a.json",
              "[Crash Reporter] Moved crash report to backup store at " + session.backup +
                  "/CrashReport_a.json." + outcome + "\n"}));
    const std::string start = "velcurl: ";
    EXPECT_EQ(timesIn(log, "CURL LOG: " + start), success ? 0U : 1U) << log;
    const Names echoed = echoedLines(log);
    ASSERT_FALSE(echoed.empty()) << log;
    const std::string line = success ? "" : echoed.front();
    EXPECT_EQ(fnmatch(withHostName(expected.line).c_str(), line.c_str(), 0), 0)
        << line << "\nis not: " << withHostName(expected.line);
    writeTableLine(line, outcome);
}

void answers(UploadOutcomesTest& test, const std::string& answer) {
    test.startServer(answer);
}
/// An answer whose reason, headers and body all hold the success text.
void answersWithSuccessText(UploadOutcomesTest& test, const std::string& status) {
    test.startServer(status + "\nX-Note: " + kSuccessText + "\nContent-Type: text/plain\n\n" +
                     kSuccessText + "\n");
}

const Outcome kOutcomes[] = {
    {"Accepted", "200", [](auto& t) { answers(t, ""); }, 0, ""},
    {"Created", "201", [](auto& t) { answers(t, "201 Created"); }, 22,
     "velcurl: not accepted: HTTP status 201 (Created) from HOST: \"201 Created\"; only status 200 "
     "says that a report is stored"},
    {"NoContent", "204", [](auto& t) { answers(t, "204 No Content"); }, 22,
     "velcurl: not accepted: HTTP status 204 (No Content) from HOST; only status 200 says that a "
     "report is stored"},
    {"Redirected", "301",
     [](auto& t) { answers(t, "301 Moved Permanently\nLocation: https://elsewhere.invalid/\n\n"); },
     22,
     "velcurl: not accepted: HTTP status 301 (Moved Permanently) from HOST; redirects are not "
     "followed: check the address and what answers there"},
    {"BadRequest", "400",
     [](auto& t) { answers(t, "400 Bad Request\nContent-Type: text/plain\n\nNo such form.\n"); },
     22,
     "velcurl: not accepted: HTTP status 400 (Bad Request) from HOST: \"No such form.\"; the "
     "server cannot read the upload: compare the versions of both sides"},
    {"WrongAccessCode", "403: wrong access code",
     [](auto& t) {
         ReportServer::Options options;
         options.environment["REPORT_SERVER_ACCESS"] = "other1";
         t.startServer("", options);
     },
     22,
     "velcurl: not accepted: HTTP status 403 (Forbidden) from HOST: \"The access code is wrong.\"; "
     "check the access code, and whether the server shuts this machine out"},
    {"TooLong", "413: report too long",
     [](auto& t) {
         ReportServer::Options options;
         options.environment["REPORT_SERVER_MAX_BYTES"] = "100";
         t.startServer("", options);
     },
     22,
     "velcurl: not accepted: HTTP status 413 (Payload Too Large) from HOST: \"The request is "
     "longer than 100 bytes.\"; the report is longer than the server takes"},
    {"TooMany", "429", [](auto& t) { answers(t, "429 Too Many Requests\nRetry-After: 60\n\n"); },
     22,
     "velcurl: not accepted: HTTP status 429 (Too Many Requests) from HOST; the server limits "
     "uploads: send the filed report later"},
    {"InternalError", "500", [](auto& t) { answers(t, "500 Internal Server Error"); }, 22,
     "velcurl: not accepted: HTTP status 500 (Internal Server Error) from HOST: \"500 Internal "
     "Server Error\"; the server is in trouble: see its log"},
    {"BadGateway", "502", [](auto& t) { answers(t, "502 Bad Gateway"); }, 22,
     "velcurl: not accepted: HTTP status 502 (Bad Gateway) from HOST: \"502 Bad Gateway\"; a "
     "gateway stands before the server and does not reach it"},
    {"Unavailable", "503", [](auto& t) { answers(t, "503 Service Unavailable"); }, 22,
     "velcurl: not accepted: HTTP status 503 (Service Unavailable) from HOST: \"503 Service "
     "Unavailable\"; the server is overloaded or being maintained"},
    {"SuccessTextIn201", "201, the success line in header and body",
     [](auto& t) { answersWithSuccessText(t, "201 Created"); }, 22,
     "velcurl: not accepted: HTTP status 201 (Created) from HOST: \"HTTP 1.1 200 OK\"; only status "
     "200 says that a report is stored"},
    {"SuccessTextIn301", "301, the success line in header and body",
     [](auto& t) { answersWithSuccessText(t, "301 Moved Permanently"); }, 22,
     "velcurl: not accepted: HTTP status 301 (Moved Permanently) from HOST: \"HTTP 1.1 200 OK\"; "
     "redirects are not followed: check the address and what answers there"},
    {"SuccessTextIn500", "500, the success line in header and body",
     [](auto& t) { answersWithSuccessText(t, "500 Internal Server Error"); }, 22,
     "velcurl: not accepted: HTTP status 500 (Internal Server Error) from HOST: \"HTTP 1.1 200 "
     "OK\"; the server is in trouble: see its log"},
    {"SuccessTextAsReason", "500, the success line as its reason",
     [](auto& t) {
         t.startTlsServer({"HTTP/1.1 500 HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"});
     },
     22,
     "velcurl: not accepted: HTTP status 500 (HTTP 1.1 200 OK) from HOST; the server is in "
     "trouble: see its log"},
    {"OlderHttp", "200 of HTTP/1.0",
     [](auto& t) { t.startTlsServer({"HTTP/1.0 200 OK\r\n\r\nReport stored\n"}); }, 22,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST: \"Report stored\"; only HTTP/1.1 with "
     "the reason OK counts"},
    {"EmptyAnswer", "connection closed without an answer", [](auto& t) { t.startTlsServer({}); },
     52,
     "velcurl: no answer from HOST: curl 52 (Empty reply from server); the server closed the "
     "connection: see its log"},
    {"CutBeforeTheAnswer", "connection cut before the answer",
     [](auto& t) {
         t.startTlsServer({"", TlsServer::CUTS});
     },
     56,
     "velcurl: no answer from HOST: curl 56 (*reset*); the connection was cut: check server, "
     "proxies and network"},
    {"ClosedInTheHeaders", "200, connection closed in the headers",
     [](auto& t) { t.startTlsServer({"HTTP/1.1 200 OK\r\nContent-Le"}); }, 22,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, cut off within its headers; the "
     "connection was cut: check server, proxies and network"},
    {"CutInTheHeaders", "200, connection cut in the headers",
     [](auto& t) {
         t.startTlsServer({"HTTP/1.1 200 OK\r\nContent-Le", TlsServer::CUTS});
     },
     56,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: curl 56 (*reset*); "
     "the connection was cut: check server, proxies and network"},
    {"CutOffChunks", "200, connection closed in a chunked body",
     [](auto& t) {
         t.startTlsServer({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nRep"});
     },
     18,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: curl 18 (transfer "
     "closed with outstanding read data remaining); the connection was cut: check server, proxies "
     "and network"},
    {"ClosedInTheBody", "200, connection closed in the body",
     [](auto& t) { t.startTlsServer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nRep"}); }, 18,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: curl 18 (transfer "
     "closed with 97 bytes remaining to read); the connection was cut: check server, proxies and "
     "network"},
    {"CutInTheBody", "200, connection cut in a chunked body",
     [](auto& t) {
         t.startTlsServer(
             {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nRep", TlsServer::CUTS});
     },
     56,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: curl 56 (*reset*); "
     "the connection was cut: check server, proxies and network"},
    {"SilentPort", "silent before TLS, bound of 2 s",
     [](auto& t) {
         t.usePort(DeafPort::IS_SILENT);
         t.beImpatient();
     },
     28,
     "velcurl: no answer from HOST: curl 28 (*time*out*); the server, or the network before it, is "
     "silent or too slow"},
    {"SilentServer", "silent after the upload, bound of 2 s",
     [](auto& t) {
         t.startTlsServer({"", TlsServer::KEEPS_SILENT});
         t.beImpatient();
     },
     28,
     "velcurl: no answer from HOST: curl 28 (Operation timed out*); the server, or the network "
     "before it, is silent or too slow"},
    {"SilentInTheBody", "200, silent in the body, bound of 2 s",
     [](auto& t) {
         t.startTlsServer(
             {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nRep", TlsServer::KEEPS_SILENT});
         t.beImpatient();
     },
     28,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: curl 28 (Operation "
     "timed out*); the server, or the network before it, is silent or too slow"},
    {"EndlessBody", "200, body without end",
     [](auto& t) {
         t.startTlsServer({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
                           TlsServer::REPEATS_ITSELF, "8\r\nendless \r\n"});
     },
     63,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: more than 256 KiB "
     "came, curl was ended; no report server answers so"},
    {"EndlessHeaders", "200, headers without end",
     [](auto& t) {
         t.startTlsServer({"HTTP/1.1 200 OK\r\n", TlsServer::REPEATS_ITSELF,
                           "X-Again: and again and again and again\r\n"});
     },
     63,
     "velcurl: not accepted: HTTP status 200 (OK) from HOST, not to its end: more than 256 KiB "
     "came, curl was ended; no report server answers so"},
    {"ExpiredCertificate", "certificate expired",
     [](auto& t) {
         TlsServer::Manners manners;
         manners.validity = test_support::TlsCertificate::EXPIRED;
         t.startTlsServer(manners);
     },
     60,
     "velcurl: no answer from HOST: curl 60 (*certificate has expired*); renew the server's "
     "certificate, or set this machine's clock"},
    {"UnknownAuthority", "certificate of an unknown authority",
     [](auto& t) {
         t.startServer("");
         t.session.trust(t.session.directory / "ca.pem");
     },
     60,
     "velcurl: no answer from HOST: curl 60 (*unable to get local issuer certificate*); cacert.pem "
     "does not hold the authority of the certificate, or another server answers"},
    {"AnotherHostsCertificate", "certificate of another host",
     [](auto& t) {
         ReportServer::Options options;
         options.name = "other.example";
         t.startServer("", options);
     },
     60,
     "velcurl: no answer from HOST: curl 60 (*subject name*HOST*); the certificate is another "
     "server's: check the address and what answers there"},
    {"BrokenCaFile", "cacert.pem holds no certificate",
     [](auto& t) {
         t.startServer("");
         writeFile(t.session.caFile, "no certificate\n");
     },
     77,
     "velcurl: no answer from HOST: curl 77 (*error setting certificate*); cacert.pem cannot be "
     "read or holds no certificate"},
    {"Http2Only", "a server of HTTP/2 only",
     [](auto& t) {
         TlsServer::Manners manners;
         manners.onlyProtocol = "h2";
         t.startTlsServer(manners);
     },
     35,
     "velcurl: no answer from HOST: curl 35 (*no application protocol*); the server does not speak "
     "HTTP/1.1, perhaps HTTP/2 only"},
    {"NoTls", "a server without TLS",
     [](auto& t) { t.startPlainServer("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); }, 35,
     "velcurl: no answer from HOST: curl 35 (*wrong version number*); what answers there does not "
     "agree on TLS: too old, or no TLS server"},
    {"NoHttp", "a server of another protocol",
     [](auto& t) { t.startTlsServer({"220 mail.example ESMTP\r\n"}); }, 1,
     "velcurl: no answer from HOST: curl 1 (Received HTTP/0.9 when not allowed*); what answers "
     "there does not speak HTTP/1.1"},
    {"ProxyRefuses", "a proxy refuses",
     [](auto& t) {
         t.startProxy("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n");
     },
     56,
     "velcurl: no answer from HOST: curl 56 (*CONNECT*407*); the proxy does not let the upload "
     "through: check the proxy variables"},
    {"ProxySaysTheSuccessText", "a proxy says the success line and closes",
     [](auto& t) { t.startProxy("HTTP/1.1 200 OK\r\n\r\n"); }, 35,
     "velcurl: no answer from HOST: curl 35 (*); what answers there does not agree on TLS: too "
     "old, or no TLS server"},
    {"NameDoesNotResolve", "name does not resolve",
     [](auto& t) {
         t.usePort(DeafPort::REFUSES);
         t.connectTo(kNoName, "443");
     },
     6,
     "velcurl: no answer from HOST: curl 6 (Could not resolve host: *); check this machine's name "
     "servers and network"},
    {"Refused", "connection refused", [](auto& t) { t.usePort(DeafPort::REFUSES); }, 7,
     "velcurl: no answer from HOST: curl 7 (Failed to connect to *); nobody listens there, or a "
     "firewall refuses it"},
};

std::string outcomeName(const testing::TestParamInfo<Outcome>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, UploadOutcomesTest, testing::ValuesIn(kOutcomes), outcomeName);

}  // namespace
