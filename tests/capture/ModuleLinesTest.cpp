#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "capture/ModuleLines.h"
#include "support/LinkSeams.h"
#include "support/TempDir.h"

using hcrpt::writeModuleLine;
using test_support::TempDir;

namespace {

// No function of this name is exported, so the C library describes it by its module, too.
[[gnu::noinline]] int unexported(int number) {
    return number * 2;
}

std::string textOf(const std::function<void(int fd)>& write) {
    const TempDir directory;
    const std::string path = directory / "lines";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    write(fd);
    close(fd);
    return test_support::readFile(path);
}

std::string lineOf(const void* address) {
    return textOf([&](int fd) { writeModuleLine(fd, address); });
}

std::string librarysLineOf(void* address) {
    return textOf([&](int fd) { backtrace_symbols_fd(&address, 1, fd); });
}

// The program itself is known to the C library by the name with which it was started.
std::string withoutDirectory(const std::string& line) {
    return line.substr(line.rfind('/') + 1);
}

std::string hexOf(const void* address) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", address);
    return text;
}

void* somewhereIn(int (*function)(int)) {
    return reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(function)) + 1;
}

TEST(ModuleLinesTest, ReadsAsTheCLibrarysLineOfAFunctionWithoutAName) {
    void* const address = somewhereIn(&unexported);
    const std::string expected = librarysLineOf(address);
    ASSERT_NE(std::string::npos, expected.find("(+0x")) << expected;
    EXPECT_EQ(withoutDirectory(expected), withoutDirectory(lineOf(address)));
    EXPECT_EQ('/', lineOf(address).front());
}

// Linkers are free to lay a module out otherwise in memory than in its file, and some do.
TEST(ModuleLinesTest, OffsetsAreThoseInMemoryNotInTheFile) {
    void* const module = dlopen(SPREAD_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, module) << dlerror();
    const auto unexportedOf =
        reinterpret_cast<int (*(*)())(int)>(dlsym(module, "unexportedOfSpreadModule"));
    ASSERT_NE(nullptr, unexportedOf);
    void* const address = somewhereIn(unexportedOf());
    const std::string expected = librarysLineOf(address);
    ASSERT_NE(std::string::npos, expected.find("(+0x")) << expected;
    EXPECT_EQ(expected, lineOf(address));
    dlclose(module);
}

TEST(ModuleLinesTest, AnExportedFunctionIsDescribedByItsModuleToo) {
    Dl_info info = {};
    void* const address = reinterpret_cast<void*>(&std::fopen);
    ASSERT_NE(0, dladdr(address, &info));
    char offset[32];
    std::snprintf(offset, sizeof offset, "(+0x%tx)",
                  static_cast<char*>(address) - static_cast<char*>(info.dli_fbase));
    const std::string line = lineOf(address);
    EXPECT_NE(std::string::npos, line.find(std::string(offset) + "[" + hexOf(address) + "]\n"))
        << line;
}

TEST(ModuleLinesTest, ASignalWhileTheMapIsOpenedCostsNothing) {
    const auto* const address = reinterpret_cast<const void*>(&unexported);
    const std::string undisturbed = lineOf(address);
    bool isInterrupted = false;
    const seams::ScopedSeam seam(seams::onOpen, [&](const char* path, int) -> std::optional<int> {
        if (isInterrupted || std::string(path) != "/proc/self/maps") return std::nullopt;
        isInterrupted = true;
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(undisturbed, lineOf(address));
    EXPECT_TRUE(isInterrupted);
}

TEST(ModuleLinesTest, AModulesFirstByteBelongsToIt) {
    Dl_info info = {};
    ASSERT_NE(0, dladdr(reinterpret_cast<void*>(&std::fopen), &info));
    const std::string line = lineOf(info.dli_fbase);
    EXPECT_NE(std::string::npos, line.find("(+0x0)[" + hexOf(info.dli_fbase) + "]\n")) << line;
}

TEST(ModuleLinesTest, AnAddressInNoModuleStandsAlone) {
    void* const page =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_EQ("[" + hexOf(page) + "]\n", lineOf(page));
    munmap(page, 4096);
    EXPECT_EQ("[" + hexOf(page) + "]\n", lineOf(page)) << "nothing is mapped there";
    EXPECT_EQ("[0x0]\n", lineOf(nullptr));
    const void* const last = reinterpret_cast<const void*>(UINTPTR_MAX);
    EXPECT_EQ("[0xffffffffffffffff]\n", lineOf(last));
}

TEST(ModuleLinesTest, ALongPathWithBlanksIsWrittenWhole) {
    const TempDir directory;
    const std::string path =
        directory / (std::string(120, 'l') + " with blanks " + std::string(100, 'x'));
    test_support::writeFile(path, std::string(4096, ' '));
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void* const page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, fd, 0);
    close(fd);
    const void* const inside = static_cast<char*>(page) + 0x2a;
    EXPECT_EQ(path + "(+0x2a)[" + hexOf(inside) + "]\n", lineOf(inside));
    munmap(page, 4096);
}

}  // namespace
