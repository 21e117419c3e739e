#include "capture/StorePath.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "base/TextBuilder.h"

namespace hcrpt {
namespace {

constexpr mode_t kOwnerOnly = 0700;

// As HCrashRptSettings has it; a test holds both against each other.
constexpr char kSessionVariable[] = "ZEB_SESSION_INFO";

}  // namespace

bool crashStorePath(char* buffer, std::size_t size) {
    const char* const value = std::getenv(kSessionVariable);
    const char* const info = value == nullptr ? "" : value;
    const std::size_t launchDirectory = std::strcspn(info, ":");
    const bool hasColon = info[launchDirectory] == ':';

    TextBuilder path(buffer, size);
    path.add(info, launchDirectory).add("/.crashReporter/");
    // Without a colon the whole value is the session id as well.
    path.add(hasColon ? info + launchDirectory + 1 : info).add("/crashStore");
    return !path.isCut();
}

void makeDirectories(char* path) {
    if (path[0] == '\0') return;
    for (char* next = std::strchr(path + 1, '/'); next != nullptr;
         next = std::strchr(next + 1, '/')) {
        *next = '\0';
        mkdir(path, kOwnerOnly);
        *next = '/';
    }
    mkdir(path, kOwnerOnly);
}

}  // namespace hcrpt
