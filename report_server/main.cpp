/// @file
/// crashreporter.cgi: receives one report. See docs/report_server.md.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "report_server/Answer.h"
#include "report_server/ReportForm.h"
#include "report_server/ReportName.h"
#include "report_server/ReportStore.h"
#include "report_server/Request.h"

namespace {

using namespace report_server;

constexpr std::uint64_t kDefaultMaxBytes = std::uint64_t{16} * 1024 * 1024;

// Writes one line for each request to standard error, which lighttpd appends to the server's log.
void log(const std::string& line) {
    std::fprintf(stderr, "%s %s\n", arrivalStamp().c_str(), line.c_str());
}

std::string logged(const Answer& answer) {
    log(answer.status + ": " + answer.text + (answer.note.empty() ? "" : " (" + answer.note + ")"));
    return cgiAnswer(answer);
}

std::string accessCode() {
    const std::string chosen = variable("REPORT_SERVER_ACCESS");
    return chosen.empty() ? HCRPT_ACCESS_CODE : chosen;
}

Answer receive() {
    if (variable("REQUEST_METHOD") != "POST")
        return {"405 Method Not Allowed", "Reports are sent by POST.", "Allow: POST\r\n"};

    const std::optional<std::uint64_t> length = decimal(variable("CONTENT_LENGTH"));
    if (!length) return {"400 Bad Request", "The request does not say how long it is."};
    const std::uint64_t most =
        decimal(variable("REPORT_SERVER_MAX_BYTES")).value_or(kDefaultMaxBytes);
    if (*length > most)
        return {"413 Payload Too Large",
                "The request is longer than " + std::to_string(most) + " bytes."};
    const std::optional<std::string> body = readBody(STDIN_FILENO, *length);
    if (!body) return {"400 Bad Request", "The request ended too early."};

    const std::optional<ReportForm> form = decodeForm(variable("CONTENT_TYPE"), *body);
    if (!form) return {"400 Bad Request", "The request is not a well-formed multipart form."};
    if (!isSameCode(form->access, accessCode()))
        return {"403 Forbidden", "The access code is wrong."};
    if (!form->hasFile) return {"400 Bad Request", "The form has no file \"file_loc\"."};

    const StoreResult stored =
        storeReport(variable("REPORT_SERVER_STORE"), form->fileName, form->content);
    if (!stored.name)
        return {"500 Internal Server Error", "The report could not be stored.", "", stored.error};
    return {"200 OK", "Report stored as " + *stored.name, "",
            std::to_string(form->content.size()) + " bytes, domain \"" + forLog(form->domain) +
                "\", regid \"" + forLog(form->regid) + "\""};
}

std::string answerText() {
    if (const auto chosen = chosenAnswer(variable("REPORT_SERVER_DIR"))) {
        log("answered as chosen");
        return *chosen;
    }
    try {
        return logged(receive());
    } catch (const std::exception& error) {
        return logged(
            {"500 Internal Server Error", "The report could not be received.", "", error.what()});
    }
}

}  // namespace

int main() {
    const std::string text = answerText();
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    return std::fflush(stdout) == 0 && written ? 0 : 1;
}
