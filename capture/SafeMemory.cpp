// Runs on the 8 KiB alternate stack: small frames, no heap, no stdio, no strings.
#include "capture/SafeMemory.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

namespace hcrpt {

std::ptrdiff_t readReadable(const void* from, void* to, std::size_t size) {
    const iovec local = {to, size};
    const iovec remote = {const_cast<void*>(from), size};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    return got < 0 && errno == EFAULT ? 0 : got;
}

bool readMemory(const void* from, void* to, std::size_t size) {
    return readReadable(from, to, size) == static_cast<std::ptrdiff_t>(size);
}

bool canReadAll(const char* const* addresses, std::size_t count) {
    if (count == 0) return true;
    iovec remote[kMaxAddresses];
    for (std::size_t i = 0; i < count; ++i) remote[i] = {const_cast<char*>(addresses[i]), 1};
    char bytes[kMaxAddresses];
    const iovec local = {bytes, count};
    return process_vm_readv(getpid(), &local, 1, remote, count, 0) == static_cast<ssize_t>(count);
}

}  // namespace hcrpt
