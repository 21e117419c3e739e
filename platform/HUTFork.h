/// @file
/// Launch of a command line.
#pragma once

#include <string>

#include "HUTExport.h"

/// Grade: @ordinary. One object in one thread at a time.
class HUT_EXPORT HUTFork {
  public:
    /// @param throughShell true runs the line through the shell; false splits it at blanks.
    void setCmdLine(const std::string& cmdLine, bool throughShell);
    /// Runs the command line.
    /// @param wait waits for its end
    /// @param inheritOutput leaves it this process's standard output and error; else /dev/null
    /// @param inheritInput leaves it this process's standard input; else /dev/null
    /// @param inheritEnvironment leaves it this process's environment; else an empty one
    /// @return the child's process id (positive) when it was started and, where waited for, ended
    ///         with status 0; otherwise 0 or a negative number.
    int launch(bool wait, bool inheritOutput, bool inheritInput, bool inheritEnvironment);

  private:
    std::string m_cmdLine;
    bool m_throughShell = false;
};
