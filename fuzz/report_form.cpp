// The report server's form: arbitrary content types and bodies, and forms as a client sends them.
#include <fuzzer/FuzzedDataProvider.h>

#include <optional>

#include "fuzz/support/Fuzz.h"
#include "report_server/FormFraming.h"
#include "report_server/ReportForm.h"
#include "report_server/ReportName.h"
#include "report_server/Request.h"

using report_server::ReportForm;

namespace {

constexpr std::size_t kMaxName = 200;

void checkName(const std::string& clientName) {
    const std::string name = report_server::safeName(clientName);
    FUZZ_REQUIRE(!name.empty() && name.size() <= kMaxName && name.front() != '.');
    for (const char c : name)
        FUZZ_REQUIRE((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                     c == '.' || c == '_' || c == '-');
    FUZZ_REQUIRE(report_server::safeName(name) == name);
}

/// Checks that each field of the form is a part of the body, and that the fields come in the body's
/// order, once each.
void checkAgainst(const std::optional<ReportForm>& form, const std::string& contentType,
                  const std::string& body) {
    if (!form) return;
    const std::optional<std::string> boundary = report_server::boundaryOf(contentType);
    FUZZ_REQUIRE(boundary && report_server::isWellFramed(body, *boundary));
    const std::size_t closing = body.find("--" + *boundary + "--");
    FUZZ_REQUIRE(closing != std::string::npos);
    FUZZ_REQUIRE(body.find("--" + *boundary, closing + 1) == std::string::npos);
    for (const std::string* part : {&form->content, &form->domain, &form->regid, &form->access})
        FUZZ_REQUIRE(fuzz::contains(body, *part) && !fuzz::contains(*part, "--" + *boundary));
    // The decoder decodes file names as URLs, so the body need not contain them.
    FUZZ_REQUIRE(form->fileName.size() <= body.size());
    FUZZ_REQUIRE(form->hasFile || (form->content.empty() && form->fileName.empty()));
    checkName(form->fileName);
}

void checkAnyBody(FuzzedDataProvider& input) {
    std::string contentType = "multipart/form-data; boundary=b";
    if (input.ConsumeBool()) contentType = input.ConsumeRandomLengthString(100);
    const std::string body = input.ConsumeRemainingBytesAsString();
    checkAgainst(report_server::decodeForm(contentType, body), contentType, body);
}

/// Checks that a form like the upload tool's is decoded byte for byte.
void checkUpload(FuzzedDataProvider& input) {
    const std::string delimiter = "--b0undary";
    const std::string code = std::to_string(input.ConsumeIntegral<unsigned>());
    const std::string content = input.ConsumeRemainingBytesAsString();
    const std::string before = delimiter +
                               "\r\nContent-Disposition: form-data; name=\"file_loc\"; "
                               "filename=\"CrashReport_1.json\"\r\n"
                               "Content-Type: application/octet-stream\r\n\r\n";
    const std::string after = "\r\n" + delimiter +
                              "\r\nContent-Disposition: form-data; name=\"access\"\r\n\r\n" + code +
                              "\r\n" + delimiter + "--\r\n";
    const std::string body = before + content + after;
    const std::string contentType = "multipart/form-data; boundary=b0undary";
    const std::optional<ReportForm> form = report_server::decodeForm(contentType, body);
    checkAgainst(form, contentType, body);
    if (fuzz::contains(content, delimiter)) return;  // no client chooses such a boundary
    FUZZ_REQUIRE(form && form->hasFile);
    FUZZ_REQUIRE(form->content == content);
    FUZZ_REQUIRE(form->fileName == "CrashReport_1.json" && form->access == code);
    FUZZ_REQUIRE(form->domain.empty() && form->regid.empty());
    // A body that is cut off before its closing delimiter is refused.
    const std::size_t end = body.size() - std::string("--\r\n").size();
    FUZZ_REQUIRE(!report_server::decodeForm(contentType, body.substr(0, end)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    checkName(fuzz::text(data, size));
    static_cast<void>(report_server::decimal(fuzz::text(data, size)));
    FuzzedDataProvider input(data, size);
    if (input.ConsumeBool())
        checkAnyBody(input);
    else
        checkUpload(input);
    return 0;
}
