#include "reports/ConvertedTraces.h"

#include <sys/stat.h>

#include <iterator>
#include <unordered_map>

namespace hcrpt {
namespace {

/// Longer than any tick of a file system's clock.
constexpr time_t kSettled = 2;  // seconds

struct Converted {
    FileState trace;
    std::string log;
    FileState logState;
    unsigned long pass = 0;  // the last one in which it was found so
};
std::unordered_map<std::string, Converted> s_converted;  // by the raw trace's path
unsigned long s_pass = 0;

std::optional<FileState> stateOf(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return FileState(status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                     status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

bool isSettled(const FileState& state) {
    return std::get<5>(state) + kSettled <= time(nullptr);
}

/// Of traces that are gone or have changed.
void forgetOthers() {
    for (auto at = s_converted.begin(); at != s_converted.end();)
        at = at->second.pass == s_pass ? std::next(at) : s_converted.erase(at);
}

}  // namespace

std::vector<std::string> withoutConverted(const std::vector<std::string>& rawTraces) {
    std::vector<std::string> others;
    std::size_t found = 0;
    ++s_pass;
    for (const std::string& trace : rawTraces) {
        const auto known = s_converted.find(trace);
        if (known != s_converted.end() && stateOf(trace) == known->second.trace &&
            stateOf(known->second.log) == known->second.logState) {
            known->second.pass = s_pass;
            ++found;
        } else {
            others.push_back(trace);
        }
    }
    if (found < s_converted.size()) forgetOthers();
    return others;
}

TraceConversion::TraceConversion(const std::string& rawTrace)
    : m_rawTrace(rawTrace), m_before(stateOf(rawTrace)) {
    // What has only just come may change once more within the same tick.
    if (m_before && !isSettled(*m_before)) m_before.reset();
}

void TraceConversion::finish(const std::string& log) const {
    const std::optional<FileState> logState = stateOf(log);
    if (m_before && logState) s_converted[m_rawTrace] = {*m_before, log, *logState, s_pass};
}

}  // namespace hcrpt
