/// @file
/// What code writes to standard output.
#pragma once

#include <string>

namespace test_support {

/// Catches all that reaches file descriptor 1 from its making on. What stays unflushed in stdio's
/// buffer is told apart, so that a test can see whether a message was flushed.
class StdoutCapture {
  public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// What has reached the descriptor so far, without flushing stdio.
    std::string flushedText() const;
    /// Flushes stdio and returns everything so far.
    std::string text() const;

  private:
    int m_savedStdout = -1;
    int m_file = -1;
};

}  // namespace test_support
