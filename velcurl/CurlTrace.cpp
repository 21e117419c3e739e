#include "velcurl/CurlTrace.h"

#include <sstream>

#include "velcurl/Text.h"

namespace velcurl {
namespace {

std::string withoutLineEnd(std::string line) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

}  // namespace

int Answer::status() const {
    std::istringstream words(statusLine);
    std::string version;
    int status = 0;
    words >> version >> status;
    return status;
}

std::string Answer::reason() const {
    std::istringstream words(statusLine);
    std::string version, status, reason;
    words >> version >> status >> std::ws;
    std::getline(words, reason);
    return reason;
}

// Lines of the request begin with "> ", lines of the answer with "< ". A line with nothing after
// that ends the headers.
Answer lastAnswer(const std::string& trace) {
    Answer answer;
    bool inRequest = false;
    bool inAnswer = false;
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        line = withoutLineEnd(line);
        const std::string text = line.size() > 2 ? line.substr(2) : "";
        if (startsWith(line, "> ")) {
            if (!inRequest) {
                answer = Answer();
                answer.isProxys = startsWith(text, "CONNECT ");
                inAnswer = false;
            }
            inRequest = !text.empty();
        } else if (startsWith(line, "< ")) {
            if (!inAnswer) {
                answer.statusLine = text;
                answer.headersAreWhole = false;
            } else if (text.empty()) {
                answer.headersAreWhole = true;
            }
            inAnswer = !text.empty();
        }
    }
    return answer;
}

std::string complaint(const std::string& trace, int exitStatus) {
    const std::string start = "curl: (" + std::to_string(exitStatus) + ") ";
    std::string found;
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);)
        if (startsWith(line, start)) found = withoutLineEnd(line.substr(start.size()));
    return found;
}

}  // namespace velcurl
