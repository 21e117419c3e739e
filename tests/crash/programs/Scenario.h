/// @file
/// Ways to die that have files of their own.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace crash_scenarios {

/// By the word that names them on the command line.
using Scenarios = std::map<std::string, std::function<void()>>;

/// Deaths in which the threads, timers, signals and children of the host take part.
Scenarios threadScenarios();
/// "abort-with-stack-<bytes>" and "null-write-with-stack-<bytes>"; empty for any other word.
std::function<void()> littleStackScenario(const std::string& word);

/// Waits until the crash handler writes its raw trace.
void awaitRawTrace();

/// Gives the thread a larger alternate stack. For the start of the host, before it registers.
void useLargeAlternateStack();

}  // namespace crash_scenarios
