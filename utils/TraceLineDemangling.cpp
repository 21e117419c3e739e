#include <cxxabi.h>

#include <cstdlib>
#include <memory>

#include "hcrpt/HCrashRptUtils.h"

namespace HCrashRptUtils {

std::string demangle(const std::string& line) {
    const std::size_t parenthesis = line.find('(');
    if (parenthesis == std::string::npos) return line;
    // On purpose from the start of the line: the "+" of a library's file name is found first, and
    // the unsigned length below wraps, which makes the whole rest of the line the candidate.
    const std::size_t plus = line.find('+');
    if (plus == std::string::npos) return line;
    const std::string candidate = line.substr(parenthesis + 1, plus - parenthesis - 1);

    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(candidate.c_str(), nullptr, nullptr, &status), &std::free);
    if (status != 0 || readable == nullptr) return line;
    return line.substr(0, parenthesis + 1) + readable.get() + line.substr(plus);
}

}  // namespace HCrashRptUtils
