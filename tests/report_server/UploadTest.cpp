// Uploads by the real upload tool and curl to the real server.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "FormBody.h"
#include "support/ChildProcess.h"
#include "support/ReportServer.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;
using Words = std::vector<std::string>;

struct Outcome {
    ExitState exit;
    std::string answer;  // body
    std::string trace;   // curl's

    bool says(const std::string& statusLine) const {
        return trace.find("< " + statusLine) != std::string::npos;
    }
};

class UploadTest : public testing::Test {
  protected:
    // Runs the upload tool as the library does, with further arguments of a test.
    static Outcome run(const ReportServer& server, const Words& arguments) {
        return get(server, server.url(), arguments);
    }

    static Outcome get(const ReportServer& server, const std::string& url, const Words& arguments) {
        Words argv = {VELCURL_PROGRAM, "--verbose", "--cacert", server.caFile()};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        argv.push_back(url);
        ChildProcess::Options options;
        options.set = {{"VELCURL_CONNECT_TO", server.connectTo()}};
        options.unset = {"VELCURL_CURL"};
        ChildProcess child = ChildProcess::exec(argv, options);
        const ExitState exit = child.wait();
        return {exit, child.standardOutput(), child.standardError()};
    }

    static Outcome upload(const ReportServer& server, const std::string& file,
                          const std::string& access = HCRPT_ACCESS_CODE) {
        return run(server,
                   {"-F", "file_loc=@" + file, "-F", "domain=d.example", "-F", "access=" + access});
    }

    std::string report(const std::string& name, const std::string& content) {
        writeFile(dir / name, content);
        return dir / name;
    }

    static std::string clientPart(const std::string& storedName) {
        return storedName.substr(storedName.find('-') + 1);
    }

    TempDir dir;
};

TEST_F(UploadTest, IsAnswered200OverHttp11AndStoredByteForByte) {
    ReportServer server(dir / "server");
    const std::string content = awkwardContent();
    const Outcome outcome = upload(server, report("CrashReport_1_host_user_t.json", content));
    EXPECT_EQ(outcome.exit, exitedWith(0));
    EXPECT_TRUE(outcome.says("HTTP/1.1 200 OK\r\n")) << outcome.trace;
    ASSERT_EQ(server.storedReports().size(), 1u);
    const std::string stored = server.storedReports()[0];
    EXPECT_EQ(outcome.answer, "Report stored as " + stored + "\n");
    EXPECT_EQ(clientPart(stored), "CrashReport_1_host_user_t.json");
    EXPECT_EQ(readFile(server.storePath() + "/" + stored), content);
    ASSERT_EQ(server.log().size(), 1u);
    EXPECT_NE(server.log()[0].find("domain \"d.example\""), std::string::npos);
}

TEST_F(UploadTest, ALargeReportArrivesByteForByte) {
    ReportServer server(dir / "server");
    std::string content;
    for (unsigned i = 0; content.size() < 5'000'000; i = i * 1664525u + 1013904223u)
        content += static_cast<char>(i >> 24);
    const Outcome outcome = upload(server, report("large", content));
    EXPECT_TRUE(outcome.says("HTTP/1.1 200 OK")) << outcome.trace;
    ASSERT_EQ(server.storedReports().size(), 1u);
    EXPECT_TRUE(readFile(server.storePath() + "/" + server.storedReports()[0]) == content);
}

TEST_F(UploadTest, AnEmptyReportIsStored) {
    ReportServer server(dir / "server");
    EXPECT_TRUE(upload(server, report("empty", "")).says("HTTP/1.1 200 OK"));
    ASSERT_EQ(server.storedReports().size(), 1u);
    EXPECT_EQ(readFile(server.storePath() + "/" + server.storedReports()[0]), "");
}

TEST_F(UploadTest, EveryFileNameArrives) {
    ReportServer server(dir / "server");
    const Words names = {"a b.json",   "a;type=text.json", "a,b.json",  "a\"b.json",    "a\\b.json",
                         "a'b$c.json", "a%22b.json",       "@a=b.json", "\xc3\xa4.json"};
    for (const std::string& name : names)
        EXPECT_TRUE(upload(server, report(name, name)).says("HTTP/1.1 200 OK")) << name;
    Words contents;
    for (const std::string& stored : server.storedReports())
        contents.push_back(readFile(server.storePath() + "/" + stored));
    EXPECT_EQ(contents, names);
}

TEST_F(UploadTest, TwoReportsOfOneNameAreBothKept) {
    ReportServer server(dir / "server");
    upload(server, report("same.json", "first"));
    upload(server, report("same.json", "second"));
    const Words stored = server.storedReports();
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(readFile(server.storePath() + "/" + stored[0]), "first");
    EXPECT_EQ(readFile(server.storePath() + "/" + stored[1]), "second");
}

TEST_F(UploadTest, UploadsSideBySideAreAllKept) {
    ReportServer server(dir / "server");
    constexpr int kUploads = 8;
    std::vector<std::string> files;
    for (int i = 0; i < kUploads; ++i)
        files.push_back(report("same" + std::to_string(i), std::string(100'000, char('a' + i))));
    std::vector<std::thread> threads;
    for (const std::string& file : files)
        threads.emplace_back(
            [&] { EXPECT_TRUE(upload(server, file).says("HTTP/1.1 200 OK")) << file; });
    for (std::thread& thread : threads) thread.join();
    Words contents;
    for (const std::string& stored : server.storedReports())
        contents.push_back(readFile(server.storePath() + "/" + stored));
    std::sort(contents.begin(), contents.end());
    ASSERT_EQ(contents.size(), static_cast<std::size_t>(kUploads));
    for (int i = 0; i < kUploads; ++i)
        EXPECT_TRUE(contents[static_cast<std::size_t>(i)] == std::string(100'000, char('a' + i)));
}

TEST_F(UploadTest, APathAsFileNameStaysInTheStore) {
    ReportServer server(dir / "server");
    const std::string file = report("r.json", "x");
    for (const char* name : {"../../evil", "/tmp/evil", "..\\..\\evil"})
        EXPECT_TRUE(run(server, {"-F", "file_loc=@" + file + ";filename=" + name, "-F",
                                 std::string("access=") + HCRPT_ACCESS_CODE})
                        .says("HTTP/1.1 200 OK"))
            << name;
    const Words stored = server.storedReports();
    ASSERT_EQ(stored.size(), 3u);
    for (const std::string& name : stored) EXPECT_EQ(clientPart(name), "evil");
    EXPECT_FALSE(std::filesystem::exists(dir / "evil"));
    EXPECT_FALSE(std::filesystem::exists(dir / "server/evil"));
}

TEST_F(UploadTest, AWrongAccessCodeIsAnswered403) {
    ReportServer server(dir / "server");
    const Outcome outcome = upload(server, report("r", "x"), "wrong");
    EXPECT_EQ(outcome.exit, exitedWith(22));
    EXPECT_EQ(outcome.trace.substr(0, outcome.trace.find('\n')),
              "velcurl: not accepted: HTTP status 403 (Forbidden) from " + server.hostName() +
                  ": \"The access code is wrong.\"; check the access code, and whether the server "
                  "shuts this machine out");
    EXPECT_TRUE(outcome.says("HTTP/1.1 403 Forbidden\r\n"));
    EXPECT_EQ(outcome.answer, "The access code is wrong.\n");
    EXPECT_TRUE(server.storedReports().empty());
}

TEST_F(UploadTest, AMissingFileIsAnswered400) {
    ReportServer server(dir / "server");
    const Outcome outcome = run(server, {"-F", std::string("access=") + HCRPT_ACCESS_CODE});
    EXPECT_TRUE(outcome.says("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_EQ(outcome.answer, "The form has no file \"file_loc\".\n");
}

TEST_F(UploadTest, AnotherMethodIsAnswered405) {
    ReportServer server(dir / "server");
    const Outcome outcome = run(server, {});
    EXPECT_TRUE(outcome.says("HTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_TRUE(outcome.says("Allow: POST\r\n"));
    EXPECT_EQ(outcome.answer, "Reports are sent by POST.\n");
}

TEST_F(UploadTest, AnOversizedReportIsAnswered413) {
    ReportServer::Options options;
    options.environment = {{"REPORT_SERVER_MAX_BYTES", "2000"}};
    ReportServer server(dir / "server", options);
    const Outcome outcome = upload(server, report("r", std::string(2000, 'x')));
    // Which words stand behind the number is the web server's choice.
    EXPECT_TRUE(outcome.says("HTTP/1.1 413 ")) << outcome.trace;
    EXPECT_EQ(outcome.answer, "The request is longer than 2000 bytes.\n");
    EXPECT_TRUE(server.storedReports().empty());
    EXPECT_TRUE(upload(server, report("r", std::string(1000, 'x'))).says("HTTP/1.1 200 OK"));
}

TEST_F(UploadTest, AStoreThatIsGoneIsAnswered500) {
    ReportServer server(dir / "server");
    std::filesystem::remove(server.storePath());
    const Outcome outcome = upload(server, report("r", "x"));
    EXPECT_TRUE(outcome.says("HTTP/1.1 500 Internal Server Error\r\n"));
    EXPECT_EQ(outcome.answer, "The report could not be stored.\n");
}

TEST_F(UploadTest, NothingButTheCgiProgramIsServed) {
    ReportServer server(dir / "server");
    for (const char* path : {"/", "/store/", "/server.key", "/cgi-bin/", "/cgi-bin/other",
                             "/cgi-bin/crashreporter.cgi/extra", "/../server.key"}) {
        const Outcome outcome =
            get(server, "https://" + server.hostName() + path, {"--path-as-is"});
        EXPECT_TRUE(outcome.says("HTTP/1.1 40")) << path << ": " << outcome.trace;
    }
}

TEST_F(UploadTest, AChosenAnswerIsGivenUntilItIsTakenBack) {
    ReportServer server(dir / "server");
    const std::string file = report("r", "x");
    for (const char* status : {"201 Created", "403 Forbidden", "429 Too Many Requests",
                               "500 Internal Server Error", "502 Bad Gateway"}) {
        server.setAnswer(status);
        const Outcome outcome = upload(server, file);
        EXPECT_TRUE(outcome.says(std::string("HTTP/1.1 ") + status + "\r\n")) << outcome.trace;
        EXPECT_EQ(outcome.answer, std::string(status) + "\n");
    }
    server.setAnswer("301 Moved Permanently\nLocation: https://x.example/\n\nHTTP/1.1 200 OK\n");
    const Outcome moved = upload(server, file);
    EXPECT_TRUE(moved.says("HTTP/1.1 301 Moved Permanently\r\n"));
    EXPECT_TRUE(moved.says("Location: https://x.example/\r\n"));
    EXPECT_EQ(moved.answer, "HTTP/1.1 200 OK\n") << "a success text in the body";
    EXPECT_TRUE(server.storedReports().empty());
    server.setAnswer("");
    EXPECT_TRUE(upload(server, file).says("HTTP/1.1 200 OK"));
    EXPECT_EQ(server.storedReports().size(), 1u);
}

TEST_F(UploadTest, AServerOfAnotherAuthorityIsNotTrusted) {
    ReportServer server(dir / "server");
    ReportServer other(dir / "other");
    ChildProcess::Options options;
    options.set = {{"VELCURL_CONNECT_TO", server.connectTo()}};
    ChildProcess child = ChildProcess::exec(
        {VELCURL_PROGRAM, "--cacert", other.caFile(), "-F", "access=x", server.url()}, options);
    constexpr int kCertificateProblem = 60;
    EXPECT_EQ(child.wait(), exitedWith(kCertificateProblem));
    EXPECT_TRUE(server.log().empty());
}

/// Puts a directory in the place of the system's trusted certificates, for this process only.
bool trustInsteadOfTheSystems(const std::string& directory) {
    return unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(directory.c_str(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr) == 0;
}

TEST_F(UploadTest, AuthoritiesOfTheSystemAreNotTrustedBesideTheGivenFile) {
    ReportServer server(dir / "server");
    // It has another name: a given authority hides those of its name in the directory.
    const std::string other = dir / "other.pem";
    ChildProcess authority = ChildProcess::exec(
        {"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-subj", "/CN=another authority", "-keyout", dir / "other.key", "-out", other});
    ASSERT_EQ(authority.wait(), exitedWith(0)) << authority.standardError();
    std::filesystem::create_directory(dir / "system");
    std::filesystem::copy_file(server.caFile(), dir / "system/ca.pem");
    ChildProcess links = ChildProcess::exec({"openssl", "rehash", dir / "system"});
    ASSERT_EQ(links.wait(), exitedWith(0)) << links.standardError();

    const auto upload = [&](const std::string& program, const std::string& caFile) {
        return ChildProcess::fork([&] {
            if (!trustInsteadOfTheSystems(dir / "system")) return 126;
            setenv("VELCURL_CONNECT_TO", server.connectTo().c_str(), 1);
            unsetenv("VELCURL_CURL");
            execlp(program.c_str(), program.c_str(), "-q", "--http1.1", "--noproxy", "*",
                   "--connect-to", server.connectTo().c_str(), "--cacert", caFile.c_str(), "-F",
                   "access=" HCRPT_ACCESS_CODE, "-F", "file_loc=x;filename=x", server.url().c_str(),
                   nullptr);
            return 127;
        });
    };
    if (!(upload("curl", other).wait() == exitedWith(0)))
        GTEST_SKIP() << "needs the right to mount, and a curl that trusts /etc/ssl/certs";
    constexpr int kCertificateProblem = 60;
    EXPECT_EQ(upload(VELCURL_PROGRAM, other).wait(), exitedWith(kCertificateProblem));
    EXPECT_EQ(upload(VELCURL_PROGRAM, server.caFile()).wait(), exitedWith(0));
    EXPECT_EQ(server.storedReports().size(), 2U);
}

TEST_F(UploadTest, TheCertificateIsForTheChosenHostName) {
    ReportServer::Options options;
    options.name = "reports.test.example";
    ReportServer server(dir / "server", options);
    EXPECT_EQ(server.url(), "https://reports.test.example/cgi-bin/crashreporter.cgi");
    EXPECT_TRUE(upload(server, report("r", "x")).says("HTTP/1.1 200 OK"));
}

TEST_F(UploadTest, AProxyIsBypassedOnTheWayToAnotherAddress) {
    ReportServer server(dir / "server");
    ChildProcess::Options options;
    options.set = {{"VELCURL_CONNECT_TO", server.connectTo()},
                   {"https_proxy", "http://127.0.0.1:1"},
                   {"ALL_PROXY", "http://127.0.0.1:1"}};
    options.unset = {"no_proxy", "NO_PROXY"};
    ChildProcess child =
        ChildProcess::exec({VELCURL_PROGRAM, "--verbose", "--cacert", server.caFile(), "-F",
                            "file_loc=@" + report("r", "x"), "-F",
                            std::string("access=") + HCRPT_ACCESS_CODE, server.url()},
                           options);
    EXPECT_EQ(child.wait(), exitedWith(0)) << child.standardError();
    EXPECT_EQ(server.storedReports().size(), 1u);
}

TEST_F(UploadTest, AServerThatIsGoneRefusesTheConnection) {
    ReportServer server(dir / "server");
    server.stop();
    const Outcome outcome = upload(server, report("r", "x"));
    constexpr int kCouldNotConnect = 7;
    EXPECT_EQ(outcome.exit, exitedWith(kCouldNotConnect));
}

}  // namespace
