/// @file
/// velcurl: takes curl's options and becomes the system's curl. See docs/velcurl.md.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "velcurl/CurlArguments.h"
#include "velcurl/CurlEnvironment.h"
#include "velcurl/CurlProgram.h"

namespace {

// As a shell has them; every other status is curl's own.
constexpr int kUsageError = 2;
constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) result += (result.empty() ? "" : ", ") + text;
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> callers(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (callers.empty()) {
        std::fprintf(stderr, "velcurl: usage: velcurl <curl option>... <URL>\n");
        return kUsageError;
    }

    std::vector<std::string> places = velcurl::systemPlaces();
    if (const std::string chosen = variable("VELCURL_CURL"); !chosen.empty()) places = {chosen};
    const std::string program = velcurl::findCurl(places);
    if (program.empty()) {
        std::fprintf(stderr, "velcurl: no curl to run: %s is not an executable file\n",
                     joined(places).c_str());
        return kNotFound;
    }

    std::vector<std::string> arguments =
        velcurl::curlArguments(callers, variable("VELCURL_CONNECT_TO"));
    arguments.insert(arguments.begin(), program);
    std::vector<std::string> environment = velcurl::curlEnvironment(environ);
    execve(program.c_str(), pointersTo(arguments).data(), pointersTo(environment).data());

    std::fprintf(stderr, "velcurl: cannot run %s: %s\n", program.c_str(), std::strerror(errno));
    return kCannotExecute;
}
