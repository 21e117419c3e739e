#include "support/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace test_support {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.is_open()) << "cannot read " << path;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string contentIfAny(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    EXPECT_TRUE(out.good()) << "cannot write " << path;
}

std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> namesWithPrefix(const std::string& directory, const std::string& prefix) {
    std::vector<std::string> names;
    if (!std::filesystem::is_directory(directory)) return names;
    for (const std::string& name : namesIn(directory))
        if (name.rfind(prefix, 0) == 0) names.push_back(name);
    return names;
}

mode_t modeOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

std::size_t timesIn(const std::string& text, const std::string& part) {
    std::size_t times = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
    return times;
}

}  // namespace test_support
