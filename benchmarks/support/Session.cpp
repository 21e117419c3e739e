#include "benchmarks/support/Session.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace bench {

Session::Session() {
    makeStore();
    enter();
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
