// The conversion of a raw trace into a stack-trace log.
#include <cstring>

#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"

namespace {

/// Returns the stack-trace log according to the rules for a single line, each of which has its own
/// target.
std::string expectedLog(const std::string& raw) {
    std::string log;
    for (std::string line : fuzz::linesOf(raw)) {
        if (line.empty()) continue;
        line.resize(std::strlen(line.c_str()));  // lines are zero-terminated texts
        const std::size_t slash = line.rfind('/');
        if (slash != std::string::npos && slash > 0) line.erase(0, slash + 1);
        if (fuzz::contains(line, "HCrashReporter") || fuzz::contains(line, "libopx_iostreams"))
            continue;
        log += HCrashRptUtils::demangle(line) + "\n";
    }
    return log;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string raw = fuzz::text(data, size);
    const std::string path = fuzz::directory() + "/hs_mangled_err_pid4711.log";
    fuzz::writeFile(path, raw);

    HCrashReportMgr::MangledStackTraceHandler handler;
    const std::string log = handler.demangleBTFile(path);
    FUZZ_REQUIRE(log == fuzz::directory() + "/hs_err_pid4711.log");
    const std::string readable = fuzz::readFile(log);
    FUZZ_REQUIRE(readable == expectedLog(raw));
    FUZZ_REQUIRE(readable.empty() || readable.back() == '\n');
    FUZZ_REQUIRE(fuzz::linesOf(readable).size() <= fuzz::linesOf(raw).size());
    FUZZ_REQUIRE(fuzz::readFile(path) == raw);
    return 0;
}
