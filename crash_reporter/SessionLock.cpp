#include "crash_reporter/SessionLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/FileIdentity.h"
#include "settings/FileNames.h"
#include "store/SessionPaths.h"

namespace crash_reporter {
namespace {

// An announcement is a byte in the file. On a full disk nobody hears of it, which does no harm.
void setLength(int fd, off_t length) {
    int result = -1;
    do result = ftruncate(fd, length);
    while (result != 0 && errno == EINTR);
}

}  // namespace

std::string SessionLock::path() {
    return hcrpt::pathInSessionDirectory(hcrpt::kSessionLock);
}

SessionLock::Outcome SessionLock::take() {
    // The file is never removed: a lock on a removed file would exclude nobody.
    m_file.reset(
        open(path().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!m_file.isOpen()) return Outcome::impossible;
    int result = -1;
    do result = flock(m_file.get(), LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    if (result == 0) {
        setLength(m_file.get(), 0);
        return Outcome::taken;
    }
    const bool held = errno == EWOULDBLOCK;
    m_file.reset(-1);
    return held ? Outcome::heldByAnother : Outcome::impossible;
}

void SessionLock::announceRelease() const {
    if (m_file.isOpen()) setLength(m_file.get(), 1);
}

bool SessionLock::isReleaseAnnounced() {
    struct stat status = {};
    return lstat(path().c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
}

bool SessionLock::isInPlace() const {
    struct stat held = {};
    struct stat named = {};
    return m_file.isOpen() && fstat(m_file.get(), &held) == 0 &&
           lstat(path().c_str(), &named) == 0 && hcrpt::isSameFile(held, named);
}

}  // namespace crash_reporter
