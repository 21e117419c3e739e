#include "fuzz/support/Fuzz.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fuzz {
namespace {

std::string& directoryName() {
    static std::string& name = *new std::string;
    return name;
}

int standardOutputFile() {
    static const int file = [] {
        const int memory = memfd_create("stdout", MFD_CLOEXEC);
        FUZZ_REQUIRE(memory >= 0 && dup2(memory, STDOUT_FILENO) == STDOUT_FILENO);
        return memory;
    }();
    return file;
}

}  // namespace

void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

const std::string& directory() {
    std::string& name = directoryName();
    if (name.empty()) {
        name = (std::filesystem::temp_directory_path() / "hcrpt-fuzz.XXXXXX").string();
        FUZZ_REQUIRE(mkdtemp(name.data()) != nullptr);
        FUZZ_REQUIRE(std::atexit([] {
                         std::error_code ignored;
                         std::filesystem::remove_all(directoryName(), ignored);
                     }) == 0);
    }
    return name;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    FUZZ_REQUIRE(in.is_open());
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
    out.close();
    FUZZ_REQUIRE(out.good());
}

std::vector<std::string> linesOf(const std::string& content) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < content.size()) {
        const std::size_t end = std::min(content.find('\n', start), content.size());
        lines.push_back(content.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void StandardOutput::clear() {
    const int file = standardOutputFile();
    std::fflush(stdout);
    FUZZ_REQUIRE(ftruncate(file, 0) == 0);
    FUZZ_REQUIRE(lseek(file, 0, SEEK_SET) == 0);
}

std::string StandardOutput::content() {
    const int file = standardOutputFile();
    std::fflush(stdout);
    struct stat status = {};
    FUZZ_REQUIRE(fstat(file, &status) == 0);
    std::string all(static_cast<std::size_t>(status.st_size), '\0');
    FUZZ_REQUIRE(pread(file, all.data(), all.size(), 0) == status.st_size);
    return all;
}

}  // namespace fuzz
