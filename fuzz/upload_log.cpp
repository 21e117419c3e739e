// The upload tool's log, which contains text from a server.
#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashRptTransmit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string log = fuzz::text(data, size);
    const std::string path = fuzz::directory() + "/curlOut.log";
    fuzz::writeFile(path, log);
    fuzz::StandardOutput::clear();

    // The log is echoed up to the line of a success.
    bool isSuccess = false;
    std::string echo;
    for (const std::string& line : fuzz::linesOf(log)) {
        echo += "[Crash Reporter] CURL LOG: " + line + "\n";
        isSuccess = fuzz::contains(line, "HTTP/1.1 200 OK");
        if (isSuccess) break;
    }
    FUZZ_REQUIRE(HCrashRptCurlMgr::isUploadSuccess(path) == isSuccess);
    FUZZ_REQUIRE(fuzz::StandardOutput::content() == echo);
    FUZZ_REQUIRE(isSuccess == fuzz::contains(log, "HTTP/1.1 200 OK"));
    return 0;
}
