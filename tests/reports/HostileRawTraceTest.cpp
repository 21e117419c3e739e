// Raw traces that no crash writes: they must neither end the crash reporter nor hold it up.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <string>

#include "hcrpt/HCrashReportMgr.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

using namespace test_support;

namespace {

// A bound on hanging, not on speed.
constexpr std::chrono::seconds kDeadline(20);
constexpr std::size_t kLongLine = 100000000;  // bytes

/// Makes the trace readable in a process that has little memory.
test_support::ExitState demangleInLittleMemory(const std::string& rawTrace) {
    ChildProcess child = ChildProcess::fork([&] {
#ifndef __SANITIZE_ADDRESS__  // which reserves more addresses than any limit allows
        constexpr rlim_t kLittle = 1536UL * 1024 * 1024;
        const rlimit limit = {kLittle, kLittle};
        if (setrlimit(RLIMIT_AS, &limit) != 0) return 1;
#endif
        HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(rawTrace);
        return 0;
    });
    return child.wait(kDeadline);
}

/// A function whose one parameter's type, written out, has 2^40 parts.
std::string endlessName() {
    std::string name = "_Z1f1A";
    const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (int level = 1; level < 40; ++level) name += level == 1 ? "I" : "S_I";
    name += "iiE";
    for (int level = 0; level < 38; ++level) {
        std::string number =
            level < 36 ? std::string(1, digits[level]) : std::string("1") + digits[level - 36];
        name.append("S").append(number).append("_E");
    }
    return name;
}

/// Whole content of a file, in one read: readFile()'s iterators take seconds for a long line.
std::string readLongFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    std::string content(size < 0 ? 0 : static_cast<std::size_t>(size), '\0');
    file.seekg(0);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

const std::string kFrame = "/opt/app/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n";
const std::string kDemangledFrame = "libfoo.so(foo::bar()+0x1a)[0x7f00]\n";

}  // namespace

/// The stack-trace log of the raw trace, made in a process that has little memory.
std::string logOf(const std::string& trace) {
    const TempDir directory;
    const std::string raw = directory / "hs_mangled_err_pid4711.log";
    writeFile(raw, trace);
    EXPECT_EQ(demangleInLittleMemory(raw), exitedWith(0));
    return readLongFile(directory / "hs_err_pid4711.log");
}

/// That a line stays as it is and those around it are demangled. Not by EXPECT_EQ(), which would
/// print a hundred megabytes.
void expectToStay(const std::string& line) {
    EXPECT_TRUE(logOf(kFrame + line + kFrame) == kDemangledFrame + line + kDemangledFrame);
}

TEST(HostileRawTraceTest, LineOfAHundredMegabytesPassesAndTheOthersAreReadable) {
    expectToStay("lib.so(" + std::string(kLongLine, 'x') + "+0x1)[0x1]\n");
}

TEST(HostileRawTraceTest, NameOfAHundredMegabytesPassesAndTheOthersAreReadable) {
    expectToStay("lib.so(_Z1f" + std::string(kLongLine, 'P') + "i+0x1)[0x1]\n");
}

TEST(HostileRawTraceTest, NameThatDemanglesForEverStaysAndTheOthersAreReadable) {
    expectToStay("lib.so(" + endlessName() + "+0x1)[0x1]\n");
}

TEST(HostileRawTraceTest, PathOfAHundredMegabytesIsCutOff) {
    EXPECT_EQ(logOf(std::string(kLongLine, '/') + kFrame), kDemangledFrame);
}
