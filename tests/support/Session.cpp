#include "support/Session.h"

#include <cstdlib>

namespace test_support {

Session::Session(const std::string& launch)
    : work(launch.empty() ? directory.path() : directory / launch) {
    for (const std::string& path : {work, appData, tmp, data})
        std::filesystem::create_directories(path);
}

std::map<std::string, std::string> Session::environment() const {
    return {{"ZEB_SESSION_INFO", work + ":1"},
            {"HUT_INSIDE_NETWORK", "true"},
            {"HUT_APP_DATA_DIR", appData},
            {"HUT_TMP_DIR", tmp},
            {"HUT_DATA_DIR", data}};
}

const std::vector<std::string>& Session::unwantedVariables() {
    static const std::vector<std::string> all = {
        "CRPT_OFF",         "CRPT_ALREADY_RUNNING", "HUT_APP_ROOT",    "VELCURL_CURL",
        "VELCURL_MAX_TIME", "VELCURL_CONNECT_TO",   "LD_LIBRARY_PATH", "LD_PRELOAD"};
    return all;
}

void Session::enter() const {
    for (const auto& [name, value] : environment()) setenv(name.c_str(), value.c_str(), 1);
}

ScopedSession::ScopedSession(const std::string& launch) : Session(launch) {
    for (const std::string& name : unwantedVariables())
        m_variables[name].emplace(name, std::nullopt);
    for (const auto& [name, value] : environment()) m_variables[name].emplace(name, value);
}

}  // namespace test_support
