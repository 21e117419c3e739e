// One line of a trace: its path is removed and its name demangled, both in the crash reporter and,
// with reserved memory, in the crashing process.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/BoundedDemangle.h"

namespace {

constexpr std::size_t kScratchSize = 10000;  // bytes

/// Returns the text without its path. The buffer has exactly the text's size, so that
/// AddressSanitizer finds an access beyond it.
std::string withoutPath(const std::string& text) {
    const std::unique_ptr<char[]> buffer(new char[text.size() + 1]);
    std::memcpy(buffer.get(), text.c_str(), text.size() + 1);
    HCrashRptUtils::removeFullPathToLibrary(buffer.get());
    return buffer.get();
}

void checkPath(const std::string& line) {
    const std::string rest = withoutPath(line);
    const std::size_t slash = line.rfind('/');
    const bool keeps = slash == std::string::npos || slash == 0;
    FUZZ_REQUIRE(rest == (keeps ? line : line.substr(slash + 1)));
    FUZZ_REQUIRE(withoutPath(rest) == rest);
}

void checkReporter(const std::string& line) {
    const std::string result = HCrashRptUtils::demangle(line);
    const std::size_t open = line.find('(');
    const std::size_t plus = line.find('+');
    std::string expected = line;
    if (open != std::string::npos && plus != std::string::npos) {
        const std::string name =
            plus > open ? line.substr(open + 1, plus - open - 1) : line.substr(open + 1);
        const hcrpt::DemangledName readable = hcrpt::demangleName(name.c_str());
        if (readable != nullptr)
            expected = line.substr(0, open + 1) + readable.get() + line.substr(plus);
    }
    FUZZ_REQUIRE(result == expected);
}

/// Returns the line that the handler of a crashing process writes.
std::string byHandler(const std::string& line) {
    static HCrashReporter::HCrptLinuxExceptionHandler handler;
    static const int file = memfd_create("trace", MFD_CLOEXEC);
    FUZZ_REQUIRE(ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0);
    std::string copy = line;
    handler.demangle(file, copy.data());
    FUZZ_REQUIRE(copy == line);
    std::string written(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    FUZZ_REQUIRE(pread(file, written.data(), written.size(), 0) ==
                 static_cast<ssize_t>(written.size()));
    return written;
}

void checkHandler(const std::string& line) {
    const std::size_t open = line.find('(');
    std::string expected = line;
    if (open != std::string::npos && line.size() <= kScratchSize) {
        const std::size_t plus = std::min(line.find('+', open), line.size());
        const std::string name = line.substr(open + 1, plus - open - 1);
        const hcrpt::DemangledName readable = hcrpt::demangleName(name.c_str());
        if (name.size() > 1 && readable != nullptr && std::strlen(readable.get()) < kScratchSize)
            expected = line.substr(0, open + 1) + readable.get() + line.substr(plus);
    }
    FUZZ_REQUIRE(byHandler(line) == expected);

    // Both buffers are free again.
    FUZZ_REQUIRE(HCrptResourceMgr::getScratchBuffer1() != nullptr);
    FUZZ_REQUIRE(HCrptResourceMgr::getScratchBuffer2() != nullptr);
    HCrptResourceMgr::releaseScratchBuffer1();
    HCrptResourceMgr::releaseScratchBuffer2();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string all = fuzz::text(data, size);
    const std::string line = all.c_str();
    checkPath(line);
    checkReporter(all);  // takes any bytes
    checkHandler(line);
    return 0;
}
