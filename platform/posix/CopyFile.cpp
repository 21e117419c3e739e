#include "CopyFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/FileIdentity.h"
#include "base/ReadAll.h"
#include "base/TextBuilder.h"
#include "base/WriteAll.h"

namespace {

const std::size_t kBufferBytes = 512;
const int kTemporaryNames = 100;
const mode_t kCrashDataMode = 0600;  // only the owner may read traces and reports

// No step of a copy uses the heap: a crashing process copies its trace, and the crash may have
// corrupted the heap.

// A hidden name that no listing of traces or reports finds. The thread's id keeps two threads
// apart; the number avoids names that a killed process or another machine has left.
class TemporaryName {
  public:
    void set(int number) {
        hcrpt::TextBuilder name(m_text, sizeof m_text);
        name.add(".crashcopy_").add(getpid()).add("_").add(gettid()).add("_").add(number);
    }
    const char* text() const { return m_text; }

  private:
    char m_text[64] = {};
};

int openFile(int directory, const char* name, int flags) {
    const long fd = TEMP_FAILURE_RETRY(openat(directory, name, flags, kCrashDataMode));
    return static_cast<int>(fd);
}

bool copyContent(int from, int to) {
    for (;;) {
        char buffer[kBufferBytes];
        const ssize_t got = hcrpt::readSome(from, buffer, sizeof buffer);
        if (got < 0) return false;
        if (got == 0) return true;
        if (!hcrpt::writeAll(to, buffer, static_cast<std::size_t>(got))) return false;
    }
}

// A new file in the directory. The destructor removes it unless it has its final name.
class TemporaryFile {
  public:
    explicit TemporaryFile(int directory) : m_directory(directory), m_file(-1) {
        for (int number = 0; number < kTemporaryNames && !m_file.isOpen(); ++number) {
            m_name.set(number);
            const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
            m_file.reset(openFile(directory, m_name.text(), flags));
            if (!m_file.isOpen() && errno != EEXIST) break;
        }
        m_isThere = m_file.isOpen();
        if (m_isThere) fchmod(m_file.get(), kCrashDataMode);  // independent of the umask
    }
    ~TemporaryFile() {
        if (m_isThere) unlinkat(m_directory, m_name.text(), 0);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool isThere() const { return m_isThere; }
    int get() const { return m_file.get(); }
    bool close() { return m_file.close() == 0; }

    bool replace(const char* name) {
        if (renameat(m_directory, m_name.text(), m_directory, name) != 0) return false;
        m_isThere = false;
        return true;
    }
    bool becomeNew(const char* name) {
        if (renameat2(m_directory, m_name.text(), m_directory, name, RENAME_NOREPLACE) == 0) {
            m_isThere = false;
            return true;
        }
        // Some file systems do not support that rename. A hard link never replaces a file either.
        return (errno == EINVAL || errno == ENOSYS) &&
               linkat(m_directory, m_name.text(), m_directory, name, 0) == 0;
    }

  private:
    int m_directory;
    TemporaryName m_name;
    hcrpt::FileDescriptor m_file;
    bool m_isThere = false;
};

}  // namespace

bool copyFileToDirectory(const std::string& path, const std::string& directory,
                         HUTFile::CopyMode mode) {
    // A path that ends in a slash names no file; the open below fails.
    const std::size_t slash = path.rfind('/');
    const char* const name = path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
    // Without O_NONBLOCK a pipe in place of the file would block the crashing process forever.
    const hcrpt::FileDescriptor source(
        openFile(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat from = {};
    if (!source.isOpen() || fstat(source.get(), &from) != 0 || !S_ISREG(from.st_mode)) return false;
    const hcrpt::FileDescriptor target(
        openFile(AT_FDCWD, directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!target.isOpen()) return false;

    struct stat there = {};
    if (fstatat(target.get(), name, &there, AT_SYMLINK_NOFOLLOW) == 0) {
        if (mode == HUTFile::COPY_KEEP) return false;
        if (hcrpt::isSameFile(from, there)) return true;  // the source file itself
    }
    TemporaryFile copy(target.get());
    if (!copy.isThere() || !copyContent(source.get(), copy.get()) || !copy.close()) return false;
    return mode == HUTFile::COPY_KEEP ? copy.becomeNew(name) : copy.replace(name);
}
