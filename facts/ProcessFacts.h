/// @file
/// What a process leaves about itself for a report that it may not be able to write.
#pragma once

#include <optional>
#include <string>

namespace hcrpt {

/// Texts as they would stand in the process's own report.
struct ProcessFacts {
    std::string startTime;  ///< as in ProcessState
    // Process ids begin anew with each boot and in each pid namespace.
    std::string bootId;
    std::string pidNamespace;
    std::string userName;
    std::string productName;
    std::string programName;
    std::string productVersion;
    std::string buildNumber;
    std::string buildDate;
    std::string commandLine;
    std::string testcase;
};

/// Longer texts are cut.
constexpr std::size_t kMaxFact = 32UL * 1024;  // bytes
/// Nobody leaves a larger file: each byte of a text takes up to six in it.
constexpr std::size_t kMaxFactsFile = 2UL * 1024 * 1024;  // bytes

ProcessFacts factsOfThisProcess();

/// Puts the file into its place whole, for its owner only. @return whether it is there.
[[nodiscard]] bool writeFacts(const std::string& path, const ProcessFacts& facts);

/// Takes nothing but a file of this user's, in place and not through a link, that writeFacts() can
/// have written; a text that is missing is empty.
/// @return nothing for anything else.
[[nodiscard]] std::optional<ProcessFacts> readFacts(const std::string& path);

}  // namespace hcrpt
