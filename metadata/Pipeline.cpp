#include "metadata/Pipeline.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "metadata/Descendants.h"

namespace hcrpt {
namespace {

std::time_t milliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

Pipeline::Pipeline(const std::string& command)
    : m_stream(popen(command.c_str(), "r")),
      m_deadline(milliseconds() + std::time_t{kSeconds} * 1000) {
    if (m_stream == nullptr) throw std::runtime_error("popen() failed!");
}

Pipeline::~Pipeline() {
    // pclose() waits for the shell's end. A shell that could not be ended is left behind, because
    // this process ends soon.
    if (!m_isLate || endWriterOf(fileno(m_stream))) pclose(m_stream);
}

int Pipeline::next() {
    if (m_position == m_filled && !fill()) return -1;
    return static_cast<unsigned char>(m_buffer[m_position++]);
}

// Reads without stdio, so that no character is lost when a signal handler of the host interrupts
// the read (the end of the command raises SIGCHLD).
bool Pipeline::fill() {
    if (m_isLate || !awaitOutput()) return false;
    const ssize_t got = TEMP_FAILURE_RETRY(read(fileno(m_stream), m_buffer, sizeof m_buffer));
    m_position = 0;
    m_filled = got > 0 ? static_cast<unsigned>(got) : 0;
    return got > 0;
}

bool Pipeline::awaitOutput() {
    pollfd output = {fileno(m_stream), POLLIN, 0};
    for (;;) {
        const std::time_t left = m_deadline - milliseconds();
        const int ready = left > 0 ? poll(&output, 1, static_cast<int>(left)) : 0;
        if (ready < 0 && errno == EINTR) continue;
        m_isLate = ready == 0;
        return !m_isLate;  // where poll() itself fails, read() waits
    }
}

}  // namespace hcrpt
