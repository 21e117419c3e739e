/// @file
/// Facts about machine, user and process, read once when the library is loaded.
#pragma once

#include <string>

struct MachineFacts {
    std::string hostName;
    std::string userName;
    std::string domainName;
    std::string homeDirectory;  ///< from /etc/passwd; empty when the user is not listed there
    std::string executable;     ///< full path; empty when /proc is unavailable
    std::string programName;
    std::string commandLine;
};

/// Returns the facts. No name service is called, neither at load nor later. The reference stays
/// valid until the process ends.
const MachineFacts& machineFacts();
