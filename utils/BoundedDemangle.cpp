#include "utils/BoundedDemangle.h"

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "base/BoundedChild.h"

namespace hcrpt {
namespace {

// A name of that many parts is demangled within milliseconds.
constexpr std::uint64_t kFewParts = 1UL << 16;
// Bounds of processor time.
constexpr std::chrono::microseconds kMaxTime{128000};
constexpr std::chrono::microseconds kShortestTime{8000};

std::chrono::microseconds timeForNextName = kMaxTime;

constexpr bool isReferenceNumber(char c) {
    return c == '_' || c == 'L' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
}

/// Returns true when the name's parts stay few, whatever they are. A reference to an earlier part
/// or to a template argument repeats at most all that there is so far, so it doubles the parts at
/// most; a pack expansion repeats its pattern at most once for each part. Letters of an identifier
/// that look like one of these only make the estimate larger.
bool hasFewParts(const char* name, std::size_t length) {
    std::uint64_t parts = length;
    for (std::size_t i = 0; i + 1 < length; ++i) {
        const char at = name[i];
        const char next = name[i + 1];
        // Few letters of a name get past the first test of a pair.
        if ((at == 'S' || at == 'T') && isReferenceNumber(next)) parts *= 2;
        if (next == 'p' && (at == 'D' || at == 's')) parts *= length;
        if (parts > kFewParts) return false;
    }
    return parts <= kFewParts;
}

DemangledName demangleHere(const char* name) {
    int status = -1;
    DemangledName readable(abi::__cxa_demangle(name, nullptr, nullptr, &status));
    if (status != 0 || readable == nullptr || std::strlen(readable.get()) > kMaxDemangledName)
        return nullptr;
    return readable;
}

DemangledName demangleApart(const char* name) {
    const ChildAnswer answer = runInForkedChild(
        [name]() -> std::optional<std::string> {
            const DemangledName readable = demangleHere(name);
            return readable != nullptr ? readable.get() : "";  // empty: it is no mangled name
        },
        {{}, timeForNextName});
    if (answer.end == ChildEnd::failed)
        timeForNextName = std::max(timeForNextName / 2, kShortestTime);
    return DemangledName(answer.text.empty() ? nullptr : strdup(answer.text.c_str()));
}

}  // namespace

DemangledName demangleName(const char* name) {
    const std::size_t length = std::strlen(name);
    if (length > kMaxMangledName) return nullptr;
    return hasFewParts(name, length) ? demangleHere(name) : demangleApart(name);
}

}  // namespace hcrpt
