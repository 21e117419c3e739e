/// @file
/// Extracts facts about machine and user from texts. No function here calls the system.
///
/// Host name, user name and domain become parts of file names and of a shell command line. These
/// functions return none of them with a character that is special there.
#pragma once

#include <string>

namespace facts {

struct Account {
    std::string name;
    std::string home;
};

/// Returns the first entry of the uid in the text of /etc/passwd; empty when there is none.
Account accountOf(unsigned int uid, const std::string& passwd);
/// Returns the first usable name of the account's name, LOGNAME and USER, else the uid in digits. A
/// name with '/' or a control character is not usable. All other characters except letters, digits,
/// "._@+-" and bytes beyond ASCII become '_'.
std::string userName(const std::string& accountName, const char* logName, const char* user,
                     unsigned int uid);

/// Returns the node name with '_' in place of characters that no host name has; "localhost" when
/// there is none.
std::string hostName(const std::string& nodeName);
/// Returns the first usable domain of the host name after its first dot, the kernel's domain name,
/// and resolv.conf's. A usable domain consists of letters, digits, '.', '-' and '_'.
std::string domainName(const std::string& nodeName, const std::string& kernelDomain,
                       const std::string& resolvConf);
/// Returns the first name of the last "domain" or "search" line; empty when there is none.
std::string resolvConfDomain(const std::string& resolvConf);
/// Returns true when the domain is the maker's domain or a subdomain of it. Letter case does not
/// matter.
bool isInsideDomain(const std::string& domain, const std::string& makersDomain);

/// Returns the text of /proc/self/cmdline with single blanks between the arguments. A line break
/// inside an argument becomes a blank too, so the result is one line.
std::string commandLine(const std::string& procCmdline);

/// Turns the product's name into a directory name: lower case, with '_' in place of all characters
/// except letters, digits and "._-". "zeb" for an empty name.
std::string productDirectoryName(const std::string& productName);
/// Returns true when a shell reads the unquoted path as one plain word.
bool needsNoQuotes(const std::string& path);

}  // namespace facts
