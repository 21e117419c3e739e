/// @file
/// An open file descriptor that closes itself.
#pragma once

#include <errno.h>
#include <unistd.h>

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    void reset(int fd) {
        close();
        m_fd = fd;
    }
    /// Gives the descriptor away.
    int release() {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }
    /// @return the result of close(); writes that were put off may fail only here. A close that a
    ///         signal interrupts has closed the file all the same.
    int close() {
        if (m_fd < 0 || ::close(release()) == 0) return 0;
        return errno == EINTR ? 0 : -1;
    }

  private:
    int m_fd;
};
