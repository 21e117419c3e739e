#include "support/StdoutCapture.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace test_support {

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    m_savedStdout = dup(STDOUT_FILENO);
    m_file = memfd_create("stdout-capture", MFD_CLOEXEC);
    if (m_savedStdout < 0 || m_file < 0 || dup2(m_file, STDOUT_FILENO) < 0)
        throw std::runtime_error("cannot capture standard output");
    // A terminal would make stdout line-buffered; the tests mean the buffering of a file.
    static char buffer[1 << 16];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    // After a change of buffers the C library flushes once by itself, at the second write. Let that
    // be over, so that later what reaches the descriptor was flushed by the code under test.
    std::fputs(".", stdout);
    std::fflush(stdout);
    if (ftruncate(m_file, 0) != 0 || lseek(m_file, 0, SEEK_SET) != 0)
        throw std::runtime_error("cannot capture standard output");
}

StdoutCapture::~StdoutCapture() {
    std::fflush(stdout);
    dup2(m_savedStdout, STDOUT_FILENO);
    close(m_savedStdout);
    close(m_file);
}

std::string StdoutCapture::flushedText() const {
    struct stat status = {};
    fstat(m_file, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t got = pread(m_file, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

std::string StdoutCapture::text() const {
    std::fflush(stdout);
    return flushedText();
}

}  // namespace test_support
