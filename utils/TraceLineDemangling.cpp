#include "hcrpt/HCrashRptUtils.h"
#include "utils/BoundedDemangle.h"
#include "utils/LineDemangler.h"

namespace hcrpt {
namespace {

// Together they bound the memory to a few MiB; names of a kilobyte are rare, and a trace has some
// hundred different ones.
constexpr std::size_t kMaxKnownNames = 8192;
constexpr std::size_t kMaxKnownName = 512;  // bytes, mangled or readable

}  // namespace

const std::string* LineDemangler::demangledName() {
    const auto known = m_known.find(m_name);
    if (known != m_known.end()) return &known->second;
    const DemangledName readable = demangleName(m_name.c_str());
    if (readable == nullptr) return nullptr;
    m_notKept.assign(readable.get());
    const bool isShort = m_name.size() <= kMaxKnownName && m_notKept.size() <= kMaxKnownName;
    if (!isShort || m_known.size() >= kMaxKnownNames) return &m_notKept;
    return &m_known.emplace(m_name, m_notKept).first->second;
}

void LineDemangler::append(std::string_view line, std::string& to) {
    const std::size_t parenthesis = line.find('(');
    // Contract: searched from the start of the line: a "+" in a library's file name is found first.
    // The unsigned length below then wraps, and the whole rest of the line is the candidate.
    const std::size_t plus = line.find('+');
    if (parenthesis == std::string_view::npos || plus == std::string_view::npos) {
        to.append(line);
        return;
    }
    m_name.assign(line.substr(parenthesis + 1, plus - parenthesis - 1));
    const std::string* const readable = demangledName();
    if (readable == nullptr) {
        to.append(line);
        return;
    }
    to.append(line.substr(0, parenthesis + 1)).append(*readable).append(line.substr(plus));
}

}  // namespace hcrpt

namespace HCrashRptUtils {

std::string demangle(const std::string& line) {
    std::string result;
    hcrpt::LineDemangler().append(line, result);
    return result;
}

}  // namespace HCrashRptUtils
