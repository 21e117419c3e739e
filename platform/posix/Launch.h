/// @file
/// Start of a command line in a child process.
#pragma once

#include <string>

struct LaunchOptions {
    bool throughShell = false;
    bool wait = false;
    bool inheritOutput = false;
    bool inheritInput = false;
    bool inheritEnvironment = false;
};

/// See HUTFork::launch. @return the child's process id; -1 when it was not started or its end could
/// not be learnt; 0 when it was waited for and did not end with status 0.
int launchCommandLine(const std::string& cmdLine, const LaunchOptions& options);
