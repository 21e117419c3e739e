/// @file
/// Programs that run in a test's session.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Session.h"

namespace test_support {

/// Starts a program in the launch directory. It is killed when the test's process ends.
/// @param arguments all of the program's argument vector; may be empty
/// @param environment variables to set; Session::unwantedVariables() are taken away first
/// @param preparation runs in the new process before the program does; may be null
ChildProcess startProgram(const Session& session, const std::string& path,
                          const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment,
                          const std::function<void()>& preparation);

}  // namespace test_support
