/// @file
/// Starts a command line in a child process.
#pragma once

#include <string>

struct LaunchOptions {
    bool throughShell = false;
    bool wait = false;
    bool inheritOutput = false;
    bool inheritInput = false;
    bool inheritEnvironment = false;
};

/// See HUTFork::launch. @return the child's process id; -1 when it was not started or its exit
/// status is unavailable; 0 when this call waited and the child did not end with status 0
int launchCommandLine(const std::string& cmdLine, const LaunchOptions& options);
