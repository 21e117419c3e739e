#include "transmit/ShellText.h"

namespace hcrpt {

bool isPlainInDoubleQuotes(const std::string& text) {
    return text.find_first_of("$`\"\\\n") == std::string::npos;
}

}  // namespace hcrpt
