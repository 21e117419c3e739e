#include "WholeText.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/FileDescriptor.h"

std::string wholeText(const char* path) {
    std::string text;
    const hcrpt::FileDescriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen()) return text;
    for (;;) {
        char chunk[4096];
        const ssize_t got = read(file.get(), chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return text;
        text.append(chunk, static_cast<std::size_t>(got));
    }
}
