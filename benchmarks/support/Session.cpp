#include "benchmarks/support/Session.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace bench {

Session::Session() {
    m_directory = std::filesystem::temp_directory_path() / "hcrpt-bench.XXXXXX";
    require(mkdtemp(m_directory.data()) != nullptr, "a temporary directory");
    for (const char* name : {"/.crashReporter/1/crashStore", "/appdata", "/data", "/tmp"})
        std::filesystem::create_directories(m_directory + name);
    enter();
}

void Session::enter() const {
    setenv("ZEB_SESSION_INFO", (m_directory + ":1").c_str(), 1);
    setenv("HUT_INSIDE_NETWORK", "true", 1);
    setenv("HUT_APP_DATA_DIR", (m_directory + "/appdata").c_str(), 1);
    setenv("HUT_DATA_DIR", (m_directory + "/data").c_str(), 1);
    setenv("HUT_TMP_DIR", (m_directory + "/tmp").c_str(), 1);
}

Session::~Session() {
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "benchmark: failed: %s\n", what);
    std::exit(EXIT_FAILURE);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    require(file.is_open(), path.c_str());
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    require(!file.fail(), path.c_str());
}

}  // namespace bench
