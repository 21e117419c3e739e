/// @file
/// Output of a shell command that may never end.
#pragma once

#include <cstdio>
#include <ctime>
#include <string>

namespace hcrpt {

/// Runs a command by popen(). When the object goes, it waits for the shell's end, but not for a
/// command that is late: that is ended first, with all that it has started. @crashtime
class Pipeline {
  public:
    /// How long a command may take, in seconds.
    static constexpr int kSeconds = 5;

    /// @throws std::runtime_error "popen() failed!"
    explicit Pipeline(const std::string& command);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    /// The next character of the command's standard output; -1 after the last one, and when the
    /// command is late.
    int next();
    /// True once the command has taken longer than it may.
    bool isLate() const { return m_isLate; }

  private:
    bool fill();
    bool awaitOutput();

    FILE* m_stream;
    std::time_t m_deadline;  // milliseconds of the monotonic clock
    bool m_isLate = false;
    unsigned m_position = 0;
    unsigned m_filled = 0;
    char m_buffer[4096];
};

}  // namespace hcrpt
