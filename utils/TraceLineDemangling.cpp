#include "hcrpt/HCrashRptUtils.h"
#include "utils/BoundedDemangle.h"

namespace HCrashRptUtils {

std::string demangle(const std::string& line) {
    const std::size_t parenthesis = line.find('(');
    if (parenthesis == std::string::npos) return line;
    // On purpose from the start of the line: the "+" of a library's file name is found first, and
    // the unsigned length below wraps, which makes the whole rest of the line the candidate.
    const std::size_t plus = line.find('+');
    if (plus == std::string::npos) return line;
    const std::string candidate = line.substr(parenthesis + 1, plus - parenthesis - 1);

    const hcrpt::DemangledName readable = hcrpt::demangleName(candidate.c_str());
    if (readable == nullptr) return line;
    return line.substr(0, parenthesis + 1) + readable.get() + line.substr(plus);
}

}  // namespace HCrashRptUtils
