#include "crash_reporter/ProcessWatch.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "base/ReadyToRead.h"
#include "facts/RegisteredProcess.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

#ifdef SYS_pidfd_open
int openProcess(const std::string& pid) {
    return static_cast<int>(
        syscall(SYS_pidfd_open, static_cast<pid_t>(std::strtol(pid.c_str(), nullptr, 10)), 0));
}
#else
int openProcess(const std::string&) {
    errno = ENOSYS;
    return -1;
}
#endif

}  // namespace

void ProcessWatch::follow(const Records& records) {
    for (const std::string& record : records) {
        const std::optional<std::string> pid = localProcess(record);
        if (!pid || m_followed.count(*pid) != 0 || m_ended.count(*pid) != 0) continue;
        const int end = openProcess(*pid);
        if (end < 0 && errno == ESRCH) continue;
        hcrpt::FileDescriptor process(end);
        // Asked after the open: from now on the descriptor and the id mean the same process.
        if (!hcrpt::isStillRunning(record)) continue;
        m_followed.emplace(std::piecewise_construct, std::forward_as_tuple(*pid),
                           std::forward_as_tuple(record, process.release()));
    }
}

void ProcessWatch::addTo(std::vector<pollfd>& waits) const {
    for (const auto& [pid, process] : m_followed)
        if (process.end.isOpen()) waits.push_back({process.end.get(), POLLIN, 0});
}

void ProcessWatch::noticeEnds() {
    for (auto it = m_followed.begin(); it != m_followed.end();) {
        const bool inTable = HCrashRptUtils::isProcessRunning(it->first);
        const bool ended =
            it->second.end.isOpen() ? hcrpt::isReadyToRead(it->second.end.get()) : !inTable;
        if (!ended) {
            ++it;
            continue;
        }
        m_anyEnded = true;
        if (inTable) {
            m_ended.insert(it->first);
            m_pauses.reset();
            m_nextPoll = Clock::now() + m_pauses.next();
        }
        it = m_followed.erase(it);
    }
}

bool ProcessWatch::takeEnds() {
    return std::exchange(m_anyEnded, false);
}

Records ProcessWatch::living() const {
    Records records;
    for (const auto& [pid, process] : m_followed) records.insert(process.record);
    return records;
}

bool ProcessWatch::isComplete() const {
    return std::all_of(m_followed.begin(), m_followed.end(),
                       [](const auto& entry) { return entry.second.end.isOpen(); });
}

std::optional<Time> ProcessWatch::nextPoll() const {
    return m_ended.empty() ? std::nullopt : std::optional<Time>(m_nextPoll);
}

void ProcessWatch::poll(Time now) {
    if (m_ended.empty() || now < m_nextPoll) return;
    for (auto it = m_ended.begin(); it != m_ended.end();)
        it = HCrashRptUtils::isProcessRunning(*it) ? std::next(it) : m_ended.erase(it);
    m_nextPoll = now + m_pauses.next();
}

}  // namespace crash_reporter
