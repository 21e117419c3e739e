/// @file
/// The real report server (lighttpd with TLS and the CGI program) for the time of a scope.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace test_support {

/// Runs `report_server run` in a directory of its own; it ends with the scope, and also when the
/// test program is killed.
class ReportServer {
  public:
    struct Options {
        std::string name;                                ///< host name; empty: the deployment's
        std::map<std::string, std::string> environment;  ///< "REPORT_SERVER_MAX_BYTES" and others
        std::vector<std::string> arguments;              ///< further ones for `run`
    };

    /// Starts it and waits until it answers. @throw std::runtime_error with its error output when
    /// it does not start.
    /// @param directory where it keeps everything; may be missing, its parent may not.
    ReportServer(const std::string& directory, const Options& options);
    explicit ReportServer(const std::string& directory) : ReportServer(directory, Options()) {}
    ~ReportServer() { stop(); }
    ReportServer(const ReportServer&) = delete;
    ReportServer& operator=(const ReportServer&) = delete;

    /// Ends it and waits for that; reports and logs stay. Nothing happens the second time.
    void stop();

    /// Port on 127.0.0.1.
    int port() const { return m_port; }
    /// Process id of lighttpd.
    pid_t pid() const { return m_pid; }
    /// Host name of its certificate.
    const std::string& hostName() const { return m_name; }
    /// "https://HOST/cgi-bin/crashreporter.cgi", without the port.
    std::string url() const { return "https://" + m_name + "/cgi-bin/crashreporter.cgi"; }
    /// Value of VELCURL_CONNECT_TO that leads url() to it.
    std::string connectTo() const;
    /// Certificate that a client must trust.
    std::string caFile() const { return m_directory + "/ca.pem"; }
    std::string storePath() const { return m_directory + "/store"; }
    /// Names in the store in the order of arrival, unfinished ones included.
    std::vector<std::string> storedReports() const;
    /// One line for each request that reached the CGI program.
    std::vector<std::string> log() const;

    /// From now on every request is answered so and nothing is stored: "500 Internal Server Error",
    /// or a status line followed by header lines, a blank line and a body. Empty: as usual again.
    void setAnswer(const std::string& answer);

  private:
    std::string m_directory;
    std::string m_name;
    int m_port = 0;
    pid_t m_pid = -1;
    std::optional<ChildProcess> m_process;
};

}  // namespace test_support
