#include "velcurl/Verdict.h"

#include <sys/wait.h>

#include <cstring>

#include "base/ControlCharacters.h"
#include "velcurl/Advice.h"
#include "velcurl/CurlTrace.h"
#include "velcurl/Text.h"

namespace velcurl {
namespace {

constexpr char kAccepted[] = "HTTP/1.1 200 OK";
constexpr std::size_t kMaxQuote = 200;

using Server = std::optional<std::string>;

/// Text that came from the server or from curl, made fit for the inside of a line.
std::string quote(const std::string& text) {
    const std::string shown = hcrpt::withoutControls(text.substr(0, kMaxQuote));
    return text.size() > kMaxQuote ? shown + "..." : shown;
}

std::string inBrackets(const std::string& text) {
    return text.empty() ? "" : " (" + quote(text) + ")";
}

std::string from(const Server& server) {
    return server ? " from " + quote(*server) : "";
}

/// Returns the first line of a plain answer, where the server gives its reason. The first line of
/// an HTML or XML page gives none.
std::string firstLine(const std::string& answer) {
    const std::size_t start = answer.find_first_not_of(" \t\r\n");
    if (start == std::string::npos || answer[start] == '<') return "";
    const std::string line = answer.substr(start, answer.find_first_of("\r\n", start) - start);
    return ": \"" + quote(line) + "\"";
}

std::string curlSays(const CurlRun& run, int status) {
    return "curl " + std::to_string(status) + inBrackets(complaint(run.trace, status));
}

/// Returns true when the server itself has answered. Interim answers and a proxy's do not count.
bool hasAnswered(const Answer& answer) {
    return answer.status() >= 200 && !answer.isProxys;
}

std::string notAccepted(const Answer& answer, const Server& server) {
    return "velcurl: not accepted: HTTP status " + std::to_string(answer.status()) +
           inBrackets(answer.reason()) + from(server);
}

Verdict onAnswer(const Answer& answer, const CurlRun& run, const Server& server) {
    if (answer.statusLine.empty() && !server) return {};
    if (!hasAnswered(answer))
        return {"velcurl: no answer" + from(server) + ", although curl ended well", kNotAccepted};
    if (!answer.headersAreWhole)
        return {notAccepted(answer, server) + ", cut off within its headers; " + adviceOnCurl(18),
                kNotAccepted};
    if (startsWith(answer.statusLine, kAccepted)) return {};
    return {
        notAccepted(answer, server) + firstLine(run.answer) + "; " + adviceOnHttp(answer.status()),
        kNotAccepted};
}

Verdict onFailure(const Answer& answer, const CurlRun& run, int status, const Server& server) {
    const std::string reason =
        curlSays(run, status) + "; " + adviceOnCurl(status, complaint(run.trace, status));
    if (!hasAnswered(answer)) return {"velcurl: no answer" + from(server) + ": " + reason, status};
    return {notAccepted(answer, server) + ", not to its end: " + reason, status};
}

Verdict judge(const CurlRun& run, const Server& server) {
    const Answer answer = lastAnswer(run.trace);
    if (run.tooLong) {
        const std::string tooLong =
            "more than " + std::to_string(kOutputLimit / 1024) + " KiB came, curl was ended";
        if (!hasAnswered(answer))
            return {"velcurl: no answer" + from(server) + ": " + tooLong, kAnswerTooLong};
        return {notAccepted(answer, server) + ", not to its end: " + tooLong + "; " +
                    adviceOnCurl(kAnswerTooLong),
                kAnswerTooLong};
    }
    if (WIFSIGNALED(run.waitStatus)) {
        const int number = WTERMSIG(run.waitStatus);
        return {"velcurl: not finished: curl was ended by signal " + std::to_string(number) +
                    inBrackets(strsignal(number)),
                0};
    }
    const int status = WEXITSTATUS(run.waitStatus);
    return status == 0 ? onAnswer(answer, run, server) : onFailure(answer, run, status, server);
}

}  // namespace

Verdict verdictOn(const CurlRun& run, const Server& server) {
    Verdict verdict = judge(run, server);
    if (!verdict.complaint) return verdict;
    // A server may put the status line of a success into its reason or answer.
    std::string& line = *verdict.complaint;
    for (std::size_t at = 0; (at = line.find(kAccepted)) != std::string::npos;)
        line[at + std::strlen("HTTP")] = ' ';
    return verdict;
}

std::optional<std::string> serverOf(const std::vector<std::string>& arguments) {
    if (arguments.empty()) return std::nullopt;
    const std::string& address = arguments.back();
    for (const std::string scheme : {"https://", "http://"}) {
        if (!startsWith(address, scheme)) continue;
        const std::string rest = address.substr(scheme.size());
        const std::string authority = rest.substr(0, rest.find_first_of("/?#"));
        const std::string host = authority.substr(authority.rfind('@') + 1);  // without credentials
        return host.empty() ? std::nullopt : std::optional(host);
    }
    return std::nullopt;
}

}  // namespace velcurl
