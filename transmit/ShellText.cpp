#include "transmit/ShellText.h"

#include <algorithm>

namespace hcrpt {
namespace {

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

bool isPlainInDoubleQuotes(const std::string& text) {
    return text.find_first_of("$`\"\\\n") == std::string::npos;
}

std::string onOneLine(const std::string& text) {
    std::string line = text;
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line;
}

}  // namespace hcrpt
