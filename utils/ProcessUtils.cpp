#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "HUTFile.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"

namespace {

/// Makes a null-terminated argument vector in the arena, where it outlives both processes' use of
/// it. Blocks of the arena are not aligned, so entries are stored bytewise; execvp() only hands the
/// vector on to the kernel, which reads it at any address.
/// @return null when the arena has too little left.
char* const* copyToArena(const std::vector<std::string>& arguments) {
    const std::size_t entrySize = sizeof(char*);
    char* vector =
        static_cast<char*>(HCrptResourceMgr::allocateMem((arguments.size() + 1) * entrySize));
    if (vector == nullptr) return nullptr;
    char* entry = vector;
    for (const std::string& argument : arguments) {
        const std::size_t size = argument.size() + 1;
        void* text = HCrptResourceMgr::allocateMem(size);
        if (text == nullptr) return nullptr;
        std::memcpy(text, argument.c_str(), size);
        std::memcpy(entry, &text, entrySize);
        entry += entrySize;
    }
    const char* const end = nullptr;
    std::memcpy(entry, &end, entrySize);
    return reinterpret_cast<char* const*>(vector);
}

}  // namespace

namespace HCrashRptUtils {

bool isProcessRunning(const std::string& pid) {
    return HUTFile::exists("/proc/" + pid);
}

bool forkNewProcess(const std::string& program, std::vector<std::string>& arguments) {
    char* const* vector = copyToArena(arguments);
    // Without a vector there is nothing to start: no process is forked.
    if (vector == nullptr) return false;
    const pid_t child = fork();
    if (child == 0) {
        execvp(program.c_str(), vector);
        return false;
    }
    return child > 0;
}

void sleep(int seconds) {
    if (seconds < 1) return;
    timespec left = {};
    left.tv_sec = seconds;
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

}  // namespace HCrashRptUtils
