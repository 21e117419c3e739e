// Restoring runs on the 8 KiB alternate stack: small frames, no heap, no stdio, no strings.
#include "capture/Environment.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "capture/SafeMemory.h"

namespace hcrpt::Environment {
namespace {

// As HCrashRptSettings has it.
constexpr char kSessionVariable[] = "ZEB_SESSION_INFO";

char** s_copy = nullptr;
bool s_hasSession = false;  // the copy, at least

std::size_t sizeOf(char* const* entries, std::size_t& count) {
    std::size_t size = sizeof *entries;  // for the null at the end
    for (count = 0; entries[count] != nullptr; ++count)
        size += sizeof *entries + std::strlen(entries[count]) + 1;
    return size;
}

/// Tells whether getenv() can go over the environment without a fault: it looks at the first
/// characters of each entry.
bool isReadable(char* const* entries) {
    constexpr std::size_t kMaxBatches = 256;  // no environment, if it goes on that long
    for (std::size_t i = 0; i < kMaxBatches; ++i, entries += kMaxAddresses) {
        char* batch[kMaxAddresses];
        const std::ptrdiff_t got = readReadable(entries, batch, sizeof batch);
        if (got < 0) return true;  // cannot be found out
        const std::size_t count = static_cast<std::size_t>(got) / sizeof *batch;
        std::size_t used = 0;
        while (used < count && batch[used] != nullptr) ++used;
        if (!canReadAll(batch, used)) return false;
        if (used < count) return true;
        if (count < kMaxAddresses) return false;
    }
    return false;
}

}  // namespace

void keep() {
    if (s_copy != nullptr || environ == nullptr) return;
    std::size_t count = 0;
    const std::size_t size = sizeOf(environ, count);
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    auto** const entries = static_cast<char**>(memory);
    char* text = static_cast<char*>(memory) + (count + 1) * sizeof *entries;
    for (std::size_t i = 0; i < count; ++i) {
        entries[i] = text;
        text = stpcpy(text, environ[i]) + 1;
    }
    mprotect(memory, size, PROT_READ);
    s_copy = entries;
    s_hasSession = std::getenv(kSessionVariable) != nullptr;
}

void restoreIfLost() {
    if (s_copy == nullptr) return;
    const bool isIntact = environ == nullptr || isReadable(environ);
    if (!isIntact || (s_hasSession && std::getenv(kSessionVariable) == nullptr)) environ = s_copy;
}

}  // namespace hcrpt::Environment
