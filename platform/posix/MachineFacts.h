/// @file
/// Facts of machine, user and process that are read once, when the library is loaded.
#pragma once

#include <string>

struct MachineFacts {
    std::string hostName;
    std::string userName;
    std::string domainName;
    std::string homeDirectory;  ///< of /etc/passwd; empty when the user is not in it
    std::string executable;     ///< full path; empty when /proc does not tell
    std::string programName;
    std::string commandLine;
};

/// Never asks a name service, neither at load nor later. Valid until the process has ended.
const MachineFacts& machineFacts();
