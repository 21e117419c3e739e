#include "support/FakeUploadTool.h"

#include <gtest/gtest.h>

#include <fstream>

namespace test_support {
namespace {

constexpr char kToolDirectory[] = "/bin/unwrapped/lnx64.o";

}  // namespace

FakeUploadTool::FakeUploadTool() : m_variable("FAKE_VELCURL_DIR", m_directory / "calls") {
    namespace fs = std::filesystem;
    fs::create_directories(m_directory / "calls");
    fs::create_directories(appRoot() + kToolDirectory);
    fs::copy_file(HCRPT_TEST_PROGRAMS_DIR "/fake_velcurl", path());
    fs::permissions(path(), fs::perms::owner_all);
    answer("HTTP/1.1 200 OK\n");
}

std::string FakeUploadTool::path() const {
    return appRoot() + kToolDirectory + "/velcurl";
}

void FakeUploadTool::answer(const std::string& output, int status) {
    writeFile(record("output"), output);
    writeFile(record("status"), std::to_string(status));
}

void FakeUploadTool::answerCall(int call, const std::string& output, int status) {
    writeFile(record("output-" + std::to_string(call)), output);
    writeFile(record("status-" + std::to_string(call)), std::to_string(status));
}

void FakeUploadTool::answerErrors(const std::string& text) {
    writeFile(record("errors"), text);
}

int FakeUploadTool::calls() const {
    int count = 0;
    while (std::filesystem::exists(record("args-" + std::to_string(count + 1)))) ++count;
    return count;
}

std::vector<std::string> FakeUploadTool::arguments(int call) const {
    std::ifstream in(record("args-" + std::to_string(call)));
    EXPECT_TRUE(in.is_open()) << "the upload tool has not been called " << call << " times";
    std::vector<std::string> all;
    for (std::string argument; std::getline(in, argument);) all.push_back(argument);
    return all;
}

}  // namespace test_support
