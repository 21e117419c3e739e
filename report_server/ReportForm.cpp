#include "report_server/ReportForm.h"

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>

#include <algorithm>
#include <cstring>
#include <exception>

#include "report_server/FormFraming.h"

namespace report_server {
namespace {

// Gives the decoder the checked body and nothing else of the request: the web server would log
// fields of a query string, and the form uses no cookies.
class CheckedInput : public cgicc::CgiInput {
  public:
    CheckedInput(const std::string& boundary, std::string body) : m_body(std::move(body)) {
        m_contentType = "multipart/form-data; boundary=" + boundary;
        // The decoder needs a line end after the closing delimiter; a client may omit it.
        if (m_body.compare(m_body.size() - 2, 2, "\r\n") != 0) m_body += "\r\n";
    }

    std::size_t read(char* data, std::size_t length) override {
        const std::size_t count = std::min(length, m_body.size());
        std::memcpy(data, m_body.data(), count);
        return count;
    }

    std::string getenv(const char* name) override {
        const std::string wanted = name;
        if (wanted == "REQUEST_METHOD") return "POST";
        if (wanted == "CONTENT_TYPE") return m_contentType;
        if (wanted == "CONTENT_LENGTH") return std::to_string(m_body.size());
        return {};
    }

  private:
    std::string m_contentType;
    std::string m_body;
};

bool hasSeveral(const cgicc::Cgicc& form, const std::string& name) {
    const auto isNamed = [&](const auto& part) { return part.getName() == name; };
    const auto& files = form.getFiles();
    const auto& fields = form.getElements();
    return std::count_if(files.begin(), files.end(), isNamed) +
               std::count_if(fields.begin(), fields.end(), isNamed) >
           1;
}

std::string field(const cgicc::Cgicc& form, const std::string& name) {
    const auto& fields = form.getElements();
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& entry) { return entry.getName() == name; });
    return found == fields.end() ? "" : found->getValue();
}

}  // namespace

std::optional<ReportForm> decodeForm(const std::string& contentType, const std::string& body) {
    const std::optional<std::string> boundary = boundaryOf(contentType);
    if (!boundary || !isWellFramed(body, *boundary)) return std::nullopt;
    try {
        CheckedInput input(*boundary, body);
        const cgicc::Cgicc decoded(&input);
        for (const char* name : {"file_loc", "domain", "regid", "access"})
            if (hasSeveral(decoded, name)) return std::nullopt;

        ReportForm form;
        form.domain = field(decoded, "domain");
        form.regid = field(decoded, "regid");
        form.access = field(decoded, "access");
        for (const cgicc::FormFile& file : decoded.getFiles()) {
            if (file.getName() != "file_loc") continue;
            form.hasFile = true;
            form.fileName = file.getFilename();
            form.content = file.getData();
        }
        return form;
    } catch (const std::exception&) {  // cgicc throws for a malformed part
        return std::nullopt;
    }
}

}  // namespace report_server
