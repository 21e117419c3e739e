#include "reports/TraceDemangling.h"

#include <cstring>
#include <string>
#include <string_view>

#include "utils/LineDemangler.h"

namespace hcrpt {
namespace {

/// A word and the index of its letter that is rarest in traces. Each line is searched for that
/// letter first.
struct Word {
    std::string_view text;
    std::size_t rarest;
};

/// Frames that tell nothing about the fault: those of this library, whose name contains the first
/// word, and those of the in-house stream library.
constexpr Word kUnwantedFrames[] = {{"HCrashReporter", 0}, {"libopx_iostreams", 5}};

constexpr std::size_t kPieceSize = 64UL * 1024;  // bytes written at once

bool holds(std::string_view line, const Word& word) {
    const char letter = word.text[word.rarest];
    for (std::size_t at = line.find(letter, word.rarest); at != std::string_view::npos;
         at = line.find(letter, at + 1))
        if (line.compare(at - word.rarest, word.text.size(), word.text) == 0) return true;
    return false;
}

bool isUnwanted(std::string_view line) {
    for (const Word& word : kUnwantedFrames)
        if (holds(line, word)) return true;
    return false;
}

/// Returns the line as HCrashRptUtils::removeFullPathToLibrary() leaves it: it ends at its first
/// zero and keeps a slash at its start.
std::string_view withoutPath(const std::string& line) {
    const std::size_t length = std::strlen(line.c_str());
    const void* const slash = memrchr(line.data(), '/', length);
    if (slash == nullptr || slash == line.data()) return {line.data(), length};
    const char* const rest = static_cast<const char*>(slash) + 1;
    return {rest, static_cast<std::size_t>(line.data() + length - rest)};
}

}  // namespace

void demangleTrace(std::istream& raw, std::ostream& readable) {
    LineDemangler demangler;
    std::string line;
    std::string piece;
    while (std::getline(raw, line)) {
        if (line.empty()) continue;
        const std::string_view frame = withoutPath(line);
        // Checked after the path has been removed, so that a directory's name never drops a frame.
        if (isUnwanted(frame)) continue;
        // A line that is empty now is written as an empty line.
        demangler.append(frame, piece);
        piece += '\n';
        if (piece.size() < kPieceSize) continue;
        readable << piece;
        piece.clear();
    }
    readable << piece;
}

}  // namespace hcrpt
