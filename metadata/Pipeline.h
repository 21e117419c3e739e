/// @file Reads the output of a shell command that may never end.
#pragma once

#include <cstdio>
#include <ctime>
#include <string>

namespace hcrpt {

/// Runs a command by popen(). The destructor waits for the shell's end; it first ends a late
/// command and all its descendants. @crashtime
class Pipeline {
  public:
    /// How long a command may take, in seconds.
    static constexpr int kSeconds = 5;

    /// @throws std::runtime_error "popen() failed!"
    explicit Pipeline(const std::string& command);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    /// Returns the next character of the command's standard output; -1 at its end and when the
    /// command is late.
    int next();
    /// Returns true once the command has exceeded kSeconds.
    bool isLate() const { return m_isLate; }

  private:
    bool fill();
    bool awaitOutput();

    FILE* m_stream;
    std::time_t m_deadline;  // milliseconds of the monotonic clock
    bool m_isLate = false;
    unsigned m_position = 0;
    unsigned m_filled = 0;
    char m_buffer[4096] = {};
};

}  // namespace hcrpt
