#include "crash_reporter/CarryOver.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>

#include "base/FileIdentity.h"
#include "crash_reporter/LivingRecords.h"
#include "crash_reporter/Log.h"

namespace crash_reporter {
namespace {

/// A host that has opened the file tries for three seconds to get its lock.
constexpr std::chrono::seconds kLast(5);

bool leadsTo(const std::string& path, int fd) {
    struct stat named = {};
    struct stat held = {};
    return stat(path.c_str(), &named) == 0 && fstat(fd, &held) == 0 &&
           hcrpt::isSameFile(named, held);
}

}  // namespace

void CarryOver::holdOpen(const std::string& registrations) {
    m_path = registrations;
    m_old.reset(open(registrations.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    m_nextPoll.reset();
    m_stale.clear();
    if (!m_old.isOpen()) return;
    const Records records = recordsIn(m_old.get());
    const Records living = livingOf(records);
    std::set_difference(records.begin(), records.end(), living.begin(), living.end(),
                        std::inserter(m_stale, m_stale.end()));
}

void CarryOver::begin(Time now) {
    if (!m_old.isOpen() || leadsTo(m_path, m_old.get())) {
        m_old.reset(-1);
        return;
    }
    m_end = now + kLast;
    m_pauses.reset();
    m_nextPoll = now;
}

void CarryOver::poll(Time now) {
    if (!m_nextPoll || now < *m_nextPoll) return;
    Records missing;
    const Records present = recordsIn(m_path);
    for (const std::string& record : livingOf(recordsIn(m_old.get())))
        if (present.count(record) == 0 && m_stale.count(record) == 0) missing.insert(record);
    const bool done = missing.empty() || appendRecords(missing);
    if (done)
        for (const std::string& record : missing)
            logInfo("Carried the registration of " + record + " over into the new file.");
    m_nextPoll = now + m_pauses.next();
    if (done && now >= m_end) {
        m_nextPoll.reset();
        m_old.reset(-1);
    }
}

}  // namespace crash_reporter
