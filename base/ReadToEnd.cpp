#include "base/ReadAll.h"

namespace hcrpt {

std::string readToEnd(int fd) {
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t got = readSome(fd, piece, sizeof piece);
        if (got <= 0) return text;
        text.append(piece, static_cast<std::size_t>(got));
    }
}

}  // namespace hcrpt
