#include "store/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/OpenStream.h"
#include "settings/FileNames.h"

namespace {

constexpr auto kOpenMode = std::ios::binary | std::ios::trunc;

/// The path's directory with its last separator; empty for a bare name.
std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

}  // namespace

namespace hcrpt {

AtomicFile::AtomicFile(const std::string& path) : m_path(path) {
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) return;
    if (exists && !S_ISREG(status.st_mode)) {
        // A device must not be replaced by a file.
        if (S_ISFIFO(status.st_mode))
            openPipe();
        else
            openInPlace();
        return;
    }
    // A rename would replace even a file that may not be written.
    if (exists && faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) return;
    if (!openBeside() && exists) openInPlace();
}

AtomicFile::~AtomicFile() {
    if (m_committed || m_temporary.empty()) return;
    m_stream.close();
    unlink(m_temporary.c_str());
}

bool AtomicFile::isOpen() const {
    return m_stream.is_open();
}

bool AtomicFile::commit() {
    if (!isOpen()) return false;
    const bool isWritten = !m_stream.flush().fail();
    errno = 0;
    m_stream.close();
    // Some file systems tell of a full disk only when the file is closed. A signal that interrupts
    // the close costs nothing.
    const bool isClosed = !m_stream.fail() || errno == EINTR;
    return isWritten && isClosed && putInPlace();
}

bool AtomicFile::commitPart() {
    if (!isOpen()) return false;
    m_stream.close();
    return putInPlace();
}

bool AtomicFile::putInPlace() {
    // Stays false when the place cannot be taken, so that the destructor clears away.
    m_committed = m_temporary.empty() || std::rename(m_temporary.c_str(), m_path.c_str()) == 0;
    return m_committed;
}

bool AtomicFile::openBeside() {
    if (m_path.empty() || m_path.back() == '/') return false;
    // Does not hold the file's own name, which may be as long as a name can be.
    const std::string start =
        directoryOf(m_path) + kAtomicFilePrefix + std::to_string(getpid()) + "-";
    std::string name;
    int fd = -1;
    do {
        name = start + "XXXXXX";
        // Opens with O_EXCL, which follows no link, and with mode 0600.
        fd = mkostemp(name.data(), O_CLOEXEC);
    } while (fd == -1 && errno == EINTR);
    if (fd == -1) return false;
    openStream(m_stream, name, kOpenMode);
    close(fd);
    if (!m_stream.is_open()) {
        unlink(name.c_str());
        return false;
    }
    m_temporary = name;
    return true;
}

void AtomicFile::openPipe() {
    // The usual way of opening waits for a reader, and with it all that wait for this file.
    const int kept = open(m_path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (kept < 0) return;
    openInPlace();
    close(kept);
}

void AtomicFile::openInPlace() {
    openStream(m_stream, m_path, kOpenMode);
    struct stat status = {};
    if (m_stream.is_open() && stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        chmod(m_path.c_str(), S_IRUSR | S_IWUSR);
}

}  // namespace hcrpt
