/// @file
/// What probes ask the system for, seen and answered in its place.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/TempDir.h"

/// Stands in front of popen(), fopen() and uname() of this program until the end of the scope.
class SystemSpy {
  public:
    SystemSpy();
    ~SystemSpy();
    SystemSpy(const SystemSpy&) = delete;
    SystemSpy& operator=(const SystemSpy&) = delete;

    /// What popen() was asked for, in order.
    std::vector<std::string> commands;
    std::vector<std::string> modes;
    /// A command's output in place of the real one; std::nullopt makes popen() fail. Unset: all
    /// commands are run.
    std::function<std::optional<std::string>(const std::string& command)> output;
    bool unameFails = false;
    /// The content that a stream opened on a path finds in place of the real one; std::nullopt
    /// makes the opening fail.
    std::map<std::string, std::optional<std::string>> files;

    /// The command to run for the one asked for; std::nullopt for a failure.
    std::optional<std::string> substituteFor(const std::string& command);

    /// The file to open for the one asked for; std::nullopt for a failure.
    std::optional<std::string> fileInsteadOf(const std::string& path);

    static SystemSpy* current();

  private:
    test_support::TempDir m_dir;
};
