/// @file
/// An open file descriptor that closes itself.
#pragma once

namespace hcrpt {

/// Owns a descriptor, or none. @ordinary
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
    /// @return the result of close(), in which a delayed write error may appear. An interrupted
    ///         close counts as success, since Linux has closed the descriptor by then.
    int close();

  private:
    int m_fd;
};

}  // namespace hcrpt
