#include "transmit/UploadLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace hcrpt {
namespace {

constexpr std::chrono::milliseconds kPause{20};

}  // namespace

UploadLock::UploadLock(const std::string& directory, std::chrono::milliseconds patience)
    // Contract: without O_CLOEXEC: the upload tool inherits the lock, see the class.
    : m_directory(open(directory.c_str(), O_RDONLY | O_DIRECTORY)) {
    if (m_directory < 0) return;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (flock(m_directory, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end) return;
        std::this_thread::sleep_for(kPause);
    }
}

UploadLock::~UploadLock() {
    if (m_directory < 0) return;
    // Closing alone would leave the lock with processes that the tool has left running.
    flock(m_directory, LOCK_UN);
    close(m_directory);
}

}  // namespace hcrpt
