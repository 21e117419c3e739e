/// @file
/// Runs a command line.
#pragma once

#include <string>

#include "HUTExport.h"

/// Grade: @ordinary. One object in one thread at a time.
class HUT_EXPORT HUTFork {
  public:
    /// @param throughShell true: the shell runs the line; false: the line is split at blanks
    void setCmdLine(const std::string& cmdLine, bool throughShell);
    /// Runs the command line.
    /// @param wait waits for the command's end
    /// @param inheritOutput the command gets this process's standard output and error; else
    /// /dev/null
    /// @param inheritInput the command gets this process's standard input; else /dev/null
    /// @param inheritEnvironment the command gets this process's environment; else an empty one
    /// @return the child's process id (positive) when the command was started and, if waited for,
    ///         ended with status 0; otherwise 0 or a negative number
    int launch(bool wait, bool inheritOutput, bool inheritInput, bool inheritEnvironment);

  private:
    std::string m_cmdLine;
    bool m_throughShell = false;
};
