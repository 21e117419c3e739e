#include "velcurl/CurlArguments.h"

#include <sys/stat.h>

#include <algorithm>

#include "base/Digits.h"
#include "velcurl/Text.h"

namespace velcurl {
namespace {

bool isFile(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

}  // namespace

std::string quotedFormField(const std::string& field) {
    const std::string::size_type equals = field.find('=');
    if (equals == std::string::npos || equals + 1 >= field.size() || field[equals + 1] != '@')
        return field;
    const std::string path = field.substr(equals + 2);
    // curl takes "-" for standard input, even when a file has that name.
    if (path == "-" || !isFile(path)) return field;

    std::string quoted = field.substr(0, equals + 2) + '"';
    for (const char c : path) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::vector<std::string> curlArguments(const std::vector<std::string>& callers,
                                       const std::string& connectTo, int totalSeconds) {
    std::vector<std::string> arguments = {
        "-q",                   // reads no curlrc; curl takes this only as the first argument
        "--http1.1",            // the caller judges an upload by its HTTP/1.1 status line
        "--verbose",            // velcurl takes the verdict and its reason from the trace
        "--no-progress-meter",  // keeps all but trace and answer out of the caller's log
        "--connect-timeout",
        std::to_string(kConnectTimeoutSeconds),
        "--max-time",
        std::to_string(totalSeconds),
    };
    if (!connectTo.empty())
        arguments.insert(arguments.end(), {"--connect-to", connectTo, "--noproxy", "*"});
    // A curl may trust the certificates of a system directory besides the caller's file. This path
    // is no directory, so curl trusts the file alone.
    if (std::find(callers.begin(), callers.end(), "--cacert") != callers.end())
        arguments.insert(arguments.end(), {"--capath", "/dev/null"});

    bool fieldFollows = false;
    for (const std::string& argument : callers) {
        if (fieldFollows)
            arguments.push_back(quotedFormField(argument));
        else if (startsWith(argument, "-F") && argument.size() > 2)
            arguments.push_back("-F" + quotedFormField(argument.substr(2)));
        else
            arguments.push_back(argument);
        fieldFollows = !fieldFollows && (argument == "-F" || argument == "--form");
    }
    return arguments;
}

int totalTimeout(const std::string& chosen) {
    if (!hcrpt::isDigits(chosen, 3)) return kTotalTimeoutSeconds;
    const int seconds = std::stoi(chosen);
    // curl takes 0 for "no limit".
    return seconds >= 1 && seconds <= kTotalTimeoutSeconds ? seconds : kTotalTimeoutSeconds;
}

}  // namespace velcurl
