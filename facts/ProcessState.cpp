#include "facts/ProcessState.h"

#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "base/Digits.h"

namespace hcrpt {
namespace {

// Fields behind the program's name, which is in parentheses and may itself hold blanks and
// parentheses. See proc(5), where they begin with number 3.
constexpr std::size_t kState = 0;
constexpr std::size_t kThreads = 17;
constexpr std::size_t kStartTime = 19;

constexpr long kNanoseconds = 1000000000;

}  // namespace

std::optional<ProcessState> parseProcessState(const std::string& stat) {
    const std::size_t name = stat.rfind(')');
    if (name == std::string::npos) return std::nullopt;
    std::istringstream rest(stat.substr(name + 1));
    const std::vector<std::string> fields(std::istream_iterator<std::string>(rest), {});
    if (fields.size() <= kStartTime) return std::nullopt;
    ProcessState state;
    // The first thread may end before the others do: the process goes on then.
    const bool firstThreadIsOver = fields[kState] == "Z" || fields[kState] == "X";
    state.isOver = firstThreadIsOver && numberIn<long>(fields[kThreads]).value_or(2) <= 1;
    state.startTime = fields[kStartTime];
    return state;
}

std::optional<ProcessState> processState(const std::string& processId) {
    std::ifstream file("/proc/" + processId + "/stat");
    std::ostringstream text;
    text << file.rdbuf();
    return parseProcessState(text.str());
}

std::optional<std::timespec> wallClockStart(const std::string& startTime) {
    const std::optional<long> ticks = numberIn<long>(startTime);
    const long perSecond = sysconf(_SC_CLK_TCK);
    std::timespec now = {};
    std::timespec sinceBoot = {};
    if (!ticks || perSecond <= 0 || clock_gettime(CLOCK_REALTIME, &now) != 0 ||
        clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0)
        return std::nullopt;
    std::timespec start = {};
    start.tv_sec = now.tv_sec - sinceBoot.tv_sec + *ticks / perSecond;
    start.tv_nsec =
        now.tv_nsec - sinceBoot.tv_nsec + *ticks % perSecond * (kNanoseconds / perSecond);
    for (; start.tv_nsec < 0; start.tv_nsec += kNanoseconds) --start.tv_sec;
    for (; start.tv_nsec >= kNanoseconds; start.tv_nsec -= kNanoseconds) ++start.tv_sec;
    return start;
}

bool isOfEarlierProcess(const std::timespec& written, const std::string& processId) {
    constexpr std::time_t kMargin = 60;  // seconds
    const auto state = processState(processId);
    const auto start = state ? wallClockStart(state->startTime) : std::nullopt;
    return start && written.tv_sec + kMargin < start->tv_sec;
}

}  // namespace hcrpt
