/// @file
/// Facts of machine and user out of the texts that hold them; nothing here asks the system.
///
/// Host name, user name and domain end in file names and in the command line of a shell, so none
/// of them leaves this file with a character that one of the two would act on.
#pragma once

#include <string>

namespace facts {

struct Account {
    std::string name;
    std::string home;
};

/// Entry of a user in the text of /etc/passwd: the first one of that uid. Empty when there is none.
Account accountOf(unsigned int uid, const std::string& passwd);
/// The first usable one of: the account's name, LOGNAME, USER; else the uid in digits. A name that
/// holds '/' or a control character is not usable; other characters but letters, digits, "._@+-"
/// and those beyond ASCII become '_'.
std::string userName(const std::string& accountName, const char* logName, const char* user,
                     unsigned int uid);

/// The node name; characters that no host name has become '_'. "localhost" when there is none.
std::string hostName(const std::string& nodeName);
/// The first of: the host name after its first dot, the kernel's domain name, what resolv.conf
/// says. What is not made of letters, digits, '.', '-' and '_' is passed over.
std::string domainName(const std::string& nodeName, const std::string& kernelDomain,
                       const std::string& resolvConf);
/// First name of the last "domain" or "search" line; empty when there is none.
std::string resolvConfDomain(const std::string& resolvConf);
/// Whether the domain is the maker's or lies below it. Letter case does not matter.
bool isInsideDomain(const std::string& domain, const std::string& makersDomain);

/// The text of /proc/self/cmdline with single blanks between the arguments. A line break inside an
/// argument becomes a blank too: the result is one line.
std::string commandLine(const std::string& procCmdline);

/// The product's name as the name of a directory: lower case, and characters but letters, digits,
/// "._-" become '_'; "zeb" for an empty one.
std::string productDirectoryName(const std::string& productName);
/// Whether a shell takes the path as one plain word without quotes.
bool needsNoQuotes(const std::string& path);

}  // namespace facts
