#include "utils/BoundedDemangle.h"

#include <cxxabi.h>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/ProcessEnd.h"
#include "base/ReadAll.h"
#include "base/WriteAll.h"
#include "utils/QuietDeath.h"

namespace hcrpt {
namespace {

// A name of that many parts is demangled within milliseconds.
constexpr std::uint64_t kFewParts = 1UL << 16;
constexpr suseconds_t kMaxTime = 128000;  // microseconds of processor time
constexpr suseconds_t kShortestTime = 8000;

suseconds_t timeForNextName = kMaxTime;

constexpr bool isReferenceNumber(char c) {
    return c == '_' || c == 'L' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
}

/// Whether the name's parts stay few, whatever they are. A reference to an earlier part or to a
/// template argument repeats at most all that there is so far, so it doubles the parts at most; a
/// pack expansion repeats its pattern at most once for each part. Letters of an identifier that
/// look like one of these only make the estimate larger.
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

/// Makes this process die quietly of whatever goes wrong, and of the end of its time.
void boundThisProcess() {
    dieQuietly();
    itimerval time = {};
    time.it_value.tv_usec = timeForNextName;
    setitimer(ITIMER_PROF, &time, nullptr);
}

/// The child sends a mark for a result of which no part is missing: its exit status is not to be
/// had where the host ignores SIGCHLD.
enum Mark : char { kReadable = 'r', kNoName = 'n' };

[[noreturn]] void demangleInChild(const char* name, int result) {
    boundThisProcess();
    const DemangledName readable = demangleHere(name);
    if (readable != nullptr) writeAll(result, readable.get(), std::strlen(readable.get()));
    const char mark = readable != nullptr ? kReadable : kNoName;
    writeAll(result, &mark, 1);
    endProcess(0);
}

DemangledName demangleApart(const char* name) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    const pid_t child = fork();
    if (child == 0) demangleInChild(name, ends[1]);
    close(ends[1]);
    std::string answer;
    if (child > 0) {
        answer = readToEnd(ends[0]);
        reap(child);
    }
    close(ends[0]);
    if (child < 0) return nullptr;

    if (answer.empty()) {
        timeForNextName = std::max(timeForNextName / 2, kShortestTime);
        return nullptr;
    }
    if (answer.back() != kReadable) return nullptr;
    answer.pop_back();
    return DemangledName(strdup(answer.c_str()));
}

}  // namespace

DemangledName demangleName(const char* name) {
    const std::size_t length = std::strlen(name);
    if (length > kMaxMangledName) return nullptr;
    return hasFewParts(name, length) ? demangleHere(name) : demangleApart(name);
}

}  // namespace hcrpt
