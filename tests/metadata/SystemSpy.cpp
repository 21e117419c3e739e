#include "SystemSpy.h"

#include <dlfcn.h>
#include <stdio.h>
#include <sys/utsname.h>

#include <cerrno>

namespace {

SystemSpy* s_current = nullptr;

}  // namespace

SystemSpy::SystemSpy() {
    s_current = this;
}

SystemSpy::~SystemSpy() {
    s_current = nullptr;
}

SystemSpy* SystemSpy::current() {
    return s_current;
}

std::optional<std::string> SystemSpy::substituteFor(const std::string& command) {
    if (!output) return command;
    const std::optional<std::string> text = output(command);
    if (!text) return std::nullopt;
    const std::string file = m_dir / ("output" + std::to_string(commands.size()));
    test_support::writeFile(file, *text);
    return "cat " + file;
}

std::optional<std::string> SystemSpy::fileInsteadOf(const std::string& path) {
    const auto found = files.find(path);
    if (found == files.end()) return path;
    if (!found->second) return std::nullopt;
    const std::string file = m_dir / "file";
    test_support::writeFile(file, *found->second);
    return file;
}

// A program's own definition comes before the C library's.

extern "C" FILE* popen(const char* command, const char* mode) {
    using Popen = FILE* (*)(const char*, const char*);
    static const auto real = reinterpret_cast<Popen>(dlsym(RTLD_NEXT, "popen"));
    SystemSpy* spy = SystemSpy::current();
    if (spy == nullptr) return real(command, mode);
    spy->commands.emplace_back(command);
    spy->modes.emplace_back(mode);
    const std::optional<std::string> substitute = spy->substituteFor(command);
    if (substitute) return real(substitute->c_str(), mode);
    errno = ENOMEM;
    return nullptr;
}

// By which the standard library opens its file streams; to be visible from there.
extern "C" __attribute__((visibility("default"))) FILE* fopen64(const char* path,
                                                                const char* mode) {
    using Fopen = FILE* (*)(const char*, const char*);
    static const auto real = reinterpret_cast<Fopen>(dlsym(RTLD_NEXT, "fopen64"));
    SystemSpy* spy = SystemSpy::current();
    if (spy == nullptr) return real(path, mode);
    const std::optional<std::string> file = spy->fileInsteadOf(path);
    if (file) return real(file->c_str(), mode);
    errno = ENOENT;
    return nullptr;
}

extern "C" int uname(struct utsname* name) noexcept {
    using Uname = int (*)(struct utsname*);
    static const auto real = reinterpret_cast<Uname>(dlsym(RTLD_NEXT, "uname"));
    const SystemSpy* spy = SystemSpy::current();
    if (spy == nullptr || !spy->unameFails) return real(name);
    errno = EFAULT;
    return -1;
}
