#include "facts/ProcessIdScope.h"

#include <unistd.h>

#include <fstream>

namespace hcrpt {

std::string bootId() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    file >> id;
    return id;
}

std::string pidNamespace() {
    char target[64];  // "pid:[4026531836]"
    const ssize_t length = readlink("/proc/self/ns/pid", target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

}  // namespace hcrpt
