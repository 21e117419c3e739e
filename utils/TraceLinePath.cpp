// Runs while the process dies: no allocation, and no call into any library but strlen().
// CMakeLists.txt keeps the compiler from turning the loop below into a call of memmove().

#include <cstring>

#include "hcrpt/HCrashRptUtils.h"

namespace HCrashRptUtils {

void removeFullPathToLibrary(char* text) {
    const std::size_t length = std::strlen(text);
    if (length == 0) return;
    std::size_t slash = length - 1;
    while (slash > 0 && text[slash] != '/') --slash;
    // Contract: at 0 there is no slash, or the only slash is the first character; the text keeps
    // it.
    if (slash == 0) return;
    const std::size_t start = slash + 1;
    for (std::size_t i = start; i <= length; ++i) text[i - start] = text[i];
}

}  // namespace HCrashRptUtils
