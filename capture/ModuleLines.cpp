// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/ModuleLines.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/ReadAll.h"
#include "base/TextBuilder.h"
#include "base/WriteAll.h"

namespace hcrpt {
namespace {

/// Reads a file character by character by means of a small buffer.
class CharacterReader {
  public:
    explicit CharacterReader(const char* path)
        : m_fd(static_cast<int>(TEMP_FAILURE_RETRY(open(path, O_RDONLY | O_CLOEXEC)))) {}
    ~CharacterReader() {
        if (m_fd >= 0) close(m_fd);
    }
    CharacterReader(const CharacterReader&) = delete;
    CharacterReader& operator=(const CharacterReader&) = delete;

    /// The next character; -1 at the end.
    int next() {
        if (m_position == m_filled) {
            const ssize_t got = m_fd < 0 ? 0 : readSome(m_fd, m_buffer, sizeof m_buffer);
            if (got <= 0) return -1;
            m_position = 0;
            m_filled = static_cast<unsigned>(got);
        }
        return static_cast<unsigned char>(m_buffer[m_position++]);
    }

  private:
    int m_fd;
    char m_buffer[256] = {};
    unsigned m_position = 0;
    unsigned m_filled = 0;
};

int digitOf(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

/// Reads a hexadecimal number and the character after it.
std::uintptr_t readHex(CharacterReader& in) {
    std::uintptr_t value = 0;
    for (int digit = digitOf(in.next()); digit >= 0; digit = digitOf(in.next()))
        value = value * 16 + static_cast<std::uintptr_t>(digit);
    return value;
}

/// Skips to the line's next word that begins a path; false at the end of the line or the file.
bool skipToPath(CharacterReader& in, int& c) {
    do c = in.next();
    while (c != '/' && c != '\n' && c != -1);
    return c == '/';
}

/// Copies the path whose first character has been read, up to the end of its line.
void writePath(int fd, CharacterReader& in) {
    char piece[64] = {'/'};
    std::size_t length = 1;
    for (int c = in.next(); c != '\n' && c != -1; c = in.next()) {
        if (length == sizeof piece) {
            writeAll(fd, piece, length);
            length = 0;
        }
        piece[length++] = static_cast<char>(c);
    }
    writeAll(fd, piece, length);
}

/// What a line of the memory map begins with.
struct Mapping {
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
    bool isExecutable = false;
    std::uintptr_t inode = 0;  // its digits read as hexadecimal: tells files apart all the same
};

/// Reads "start-end perms offset device inode " of a line. @return false at the end of the file.
bool readMapping(CharacterReader& in, Mapping& mapping) {
    mapping.start = readHex(in);
    mapping.end = readHex(in);
    if (mapping.end == 0) return false;
    in.next();  // r
    in.next();  // w
    mapping.isExecutable = in.next() == 'x';
    in.next();  // p
    in.next();
    readHex(in);  // offset
    readHex(in);  // major:
    readHex(in);  // minor
    mapping.inode = readHex(in);
    return true;
}

}  // namespace

void writeModuleLine(int fd, const void* address) {
    const auto value = reinterpret_cast<std::uintptr_t>(address);
    CharacterReader maps("/proc/self/maps");
    Mapping mapping;
    std::uintptr_t module = 0;  // the file of the mappings gone through, and where it begins
    std::uintptr_t begin = 0;
    char buffer[64];
    TextBuilder end(buffer, sizeof buffer);
    while (readMapping(maps, mapping)) {
        // The loader maps a module's parts in the order of their addresses, with nothing but
        // memory of its own between them.
        if (mapping.inode != 0 && mapping.inode != module) {
            module = mapping.inode;
            begin = mapping.start;
        }
        int c = 0;
        const bool isFile = skipToPath(maps, c);
        if (isFile && value >= mapping.start && value < mapping.end) {
            writePath(fd, maps);
            // Not the offset in the file: linkers may lay out memory otherwise.
            end.add("(+").addHex(value - begin).add(")");
            break;
        }
        while (c != '\n' && c != -1) c = maps.next();
    }
    end.add("[").addHex(value).add("]\n");
    writeAll(fd, end.text(), end.length());
}

bool findMappedRange(std::uintptr_t address, MappedRange& range) {
    CharacterReader maps("/proc/self/maps");
    Mapping mapping;
    while (readMapping(maps, mapping)) {
        if (address >= mapping.start && address < mapping.end) {
            range = {mapping.start, mapping.end, mapping.isExecutable};
            return true;
        }
        for (int c = 0; c != '\n' && c != -1;) c = maps.next();
    }
    return false;
}

}  // namespace hcrpt
