#include "crash_reporter/StoreWatch.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include "settings/FileNames.h"

namespace crash_reporter {
namespace {

// Files that arrive whole by rename, and those that are written in place. Creation events are
// ignored: the file is still empty then.
constexpr std::uint32_t kArrivals = IN_CLOSE_WRITE | IN_MOVED_TO;
constexpr std::uint32_t kEnd = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kGone = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t kAlwaysRelevant = kEnd | kGone | IN_IGNORED | IN_UNMOUNT | IN_Q_OVERFLOW;

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isRelevant(const std::string& name) {
    return startsWith(name, hcrpt::kRawTracePrefix) || startsWith(name, hcrpt::kReportPrefix) ||
           name == hcrpt::kRegistrationFile;
}

}  // namespace

bool StoreWatch::follow(const std::string& directory) {
    m_directory = directory;
    m_identity.reset();
    m_events.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (m_events.isOpen() &&
        inotify_add_watch(m_events.get(), directory.c_str(), kArrivals | kEnd) < 0)
        m_events.reset(-1);
    if (m_events.isOpen()) {
        // A log that is renamed because it is full causes an event too, which does no harm.
        const std::string above = directory.substr(0, directory.rfind('/') + 1);
        inotify_add_watch(m_events.get(), above.c_str(), kGone | kEnd);
    }
    struct stat status = {};
    if (stat(directory.c_str(), &status) == 0) m_identity.emplace(status);
    return m_events.isOpen();
}

bool StoreWatch::isInPlace() const {
    struct stat status = {};
    return stat(m_directory.c_str(), &status) == 0 && hcrpt::FileIdentity(status) == m_identity;
}

bool StoreWatch::takeEvents() {
    bool relevant = false;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t got = read(m_events.get(), buffer, sizeof buffer);
        if (got <= 0) return relevant;
        for (ssize_t at = 0; at < got;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof *event + event->len);
            if ((event->mask & kAlwaysRelevant) != 0 || (event->len > 0 && isRelevant(event->name)))
                relevant = true;
        }
    }
}

}  // namespace crash_reporter
