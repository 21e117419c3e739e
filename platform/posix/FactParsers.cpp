#include "FactParsers.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "base/ControlCharacters.h"

namespace facts {
namespace {

// The standard library's character tests depend on the locale; these do not.
bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isBeyondAscii(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}
char toLower(char c) {
    return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isOneOf(char c, const char* set) {
    return std::string(set).find(c) != std::string::npos;
}
bool isNameCharacter(char c) {
    return isLower(c) || isUpper(c) || isDigit(c) || isOneOf(c, "._-");
}
bool isUserCharacter(char c) {
    return isNameCharacter(c) || isOneOf(c, "@+") || isBeyondAscii(c);
}

template <class Accepts>
std::string withUnderscores(std::string text, Accepts accepts) {
    std::replace_if(
        text.begin(), text.end(), [&](char c) { return !accepts(c); }, '_');
    return text;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), toLower);
    return text;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> fields;
    std::istringstream in(text);
    for (std::string field; std::getline(in, field, separator);) fields.push_back(field);
    return fields;
}

bool isUsableUserName(const std::string& name) {
    return !name.empty() && name.find('/') == std::string::npos &&
           std::none_of(name.begin(), name.end(), hcrpt::isControl);
}

// A domain may come from the network's address service, and the upload's command line has it
// unquoted: returns an empty text for a domain with any other character than a name's.
std::string plainDomain(std::string domain) {
    if (!domain.empty() && domain.back() == '.') domain.pop_back();
    const bool plain = std::all_of(domain.begin(), domain.end(), isNameCharacter);
    return plain ? domain : std::string();
}

}  // namespace

Account accountOf(unsigned int uid, const std::string& passwd) {
    enum Field { NAME, PASSWORD, UID, GID, COMMENT, HOME };
    const std::string wanted = std::to_string(uid);
    for (const std::string& line : split(passwd, '\n')) {
        if (line.empty() || isOneOf(line.front(), "#+-")) continue;  // comments and NIS entries
        const std::vector<std::string> fields = split(line, ':');
        if (fields.size() <= HOME || fields[UID] != wanted) continue;
        return {fields[NAME], fields[HOME]};
    }
    return {};
}

std::string userName(const std::string& accountName, const char* logName, const char* user,
                     unsigned int uid) {
    for (const std::string& name :
         {accountName, std::string(logName ? logName : ""), std::string(user ? user : "")})
        if (isUsableUserName(name)) return withUnderscores(name, isUserCharacter);
    return std::to_string(uid);
}

std::string hostName(const std::string& nodeName) {
    if (nodeName.empty() || nodeName == "(none)") return "localhost";
    return withUnderscores(nodeName, isNameCharacter);
}

std::string domainName(const std::string& nodeName, const std::string& kernelDomain,
                       const std::string& resolvConf) {
    const std::size_t dot = nodeName.find('.');
    const std::string ofHost = dot == std::string::npos ? "" : nodeName.substr(dot + 1);
    const std::string ofKernel = kernelDomain == "(none)" ? "" : kernelDomain;
    for (const std::string& candidate : {ofHost, ofKernel, resolvConfDomain(resolvConf)}) {
        const std::string domain = plainDomain(candidate);
        if (!domain.empty()) return domain;
    }
    return "";
}

std::string resolvConfDomain(const std::string& resolvConf) {
    std::string domain;
    for (const std::string& line : split(resolvConf, '\n')) {
        // The resolver takes a keyword only at the very start of a line.
        if (line.empty() || isOneOf(line.front(), " \t")) continue;
        std::istringstream words(line);
        std::string keyword, name;
        words >> keyword >> name;
        if ((keyword == "domain" || keyword == "search") && !name.empty()) domain = name;
    }
    return domain;
}

bool isInsideDomain(const std::string& domain, const std::string& makersDomain) {
    if (makersDomain.empty()) return false;
    const std::string own = "." + lowerCase(domain);
    const std::string makers = "." + lowerCase(makersDomain);
    return own.size() >= makers.size() &&
           own.compare(own.size() - makers.size(), makers.size(), makers) == 0;
}

std::string commandLine(const std::string& procCmdline) {
    std::string line = procCmdline;
    if (!line.empty() && line.back() == '\0') line.pop_back();  // terminator of the last argument
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\0' || c == '\n' || c == '\r'; }, ' ');
    return line;
}

std::string productDirectoryName(const std::string& productName) {
    if (productName.empty()) return "zeb";
    std::string name = withUnderscores(lowerCase(productName), isNameCharacter);
    if (name.front() == '.') name.front() = '_';  // neither hidden nor ".."
    return name;
}

bool needsNoQuotes(const std::string& path) {
    return std::all_of(path.begin(), path.end(),
                       [](char c) { return isUserCharacter(c) || isOneOf(c, "/:,="); });
}

}  // namespace facts
