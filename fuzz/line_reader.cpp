// The line reader of a crashing process, with buffers of exactly the size that it may use.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashCapture.h"

namespace {

struct Reading {
    std::string line;  ///< in copy mode
    std::size_t offset = 0;
};

/// The documented behaviour, computed in another way: from the position of the next line feed.
Reading expectedReading(const std::string& bytes, std::size_t cap, std::size_t offset, bool skip) {
    if (offset >= bytes.size() || cap == 0) return {"", offset};
    const std::size_t lineFeed = bytes.find('\n', offset);
    if (skip) return {"", lineFeed == std::string::npos ? offset : lineFeed + 1};
    const std::size_t end = lineFeed == std::string::npos ? bytes.size() : lineFeed + 1;
    if (end - offset > cap) return {bytes.substr(offset, cap), offset + cap};
    const std::size_t next = lineFeed == std::string::npos ? offset : end;
    return {bytes.substr(offset, end - offset), next};
}

/// Compares one call with the expected result. @return the new offset
std::size_t checkCall(std::string& bytes, char* source, std::size_t cap, std::size_t offset,
                      bool skip) {
    constexpr char kUntouched = '\x7f';
    const std::unique_ptr<char[]> line(new char[cap + 1]);
    std::memset(line.get(), kUntouched, cap + 1);
    const Reading expected = expectedReading(bytes, cap, offset, skip);
    FUZZ_REQUIRE(HCrptResourceMgr::getNextLineFromBuffer(source, bytes.size() - 1, line.get(), cap,
                                                         offset, skip) == line.get());
    FUZZ_REQUIRE(offset == expected.offset);
    const std::size_t written = skip ? 0 : expected.line.size() + 1;
    FUZZ_REQUIRE(std::memcmp(line.get(), expected.line.c_str(), written) == 0);
    for (std::size_t i = written; i <= cap; ++i) FUZZ_REQUIRE(line[i] == kUntouched);
    FUZZ_REQUIRE(std::memcmp(source, bytes.data(), bytes.size()) == 0);
    return offset;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto cap = input.ConsumeIntegralInRange<std::size_t>(0, 40);
    const auto start = input.ConsumeIntegralInRange<std::size_t>(0, 40);
    const auto modes = input.ConsumeIntegral<std::uint16_t>();
    std::string bytes = input.ConsumeRemainingBytesAsString();
    if (bytes.empty()) return 0;  // the function requires a last readable byte
    const std::unique_ptr<char[]> source(new char[bytes.size()]);
    std::memcpy(source.get(), bytes.data(), bytes.size());

    // Calls in both modes, in any order.
    std::size_t offset = start;
    for (int call = 0; call < 16; ++call)
        offset = checkCall(bytes, source.get(), cap, offset, (modes >> call & 1) != 0);

    // Repeated calls until the offset stays give all bytes, once each.
    std::string all;
    offset = 0;
    while (cap > 0) {
        const std::string line = expectedReading(bytes, cap, offset, false).line;
        const std::size_t next = checkCall(bytes, source.get(), cap, offset, false);
        all += line;
        if (next == offset) break;
        offset = next;
    }
    FUZZ_REQUIRE(cap == 0 || all == bytes);
    return 0;
}
