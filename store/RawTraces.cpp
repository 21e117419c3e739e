#include "store/RawTraces.h"

#include "base/Digits.h"
#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"
#include "store/FileListing.h"

namespace hcrpt {
namespace {

constexpr std::size_t kPrefixLength = sizeof kRawTracePrefix - 1;
constexpr std::size_t kExtensionLength = sizeof kTraceExtension - 1;

}  // namespace

std::string stackTraceLogOf(const std::string& rawTrace) {
    const std::size_t name = rawTrace.rfind('/') + 1;
    return rawTrace.substr(0, name) + kTraceLogPrefix + rawTrace.substr(name + kPrefixLength);
}

std::optional<std::string> processIdOfTrace(const std::string& name) {
    if (name.size() < kPrefixLength + kExtensionLength) return std::nullopt;
    const std::size_t end = name.size() - kExtensionLength;
    const std::string processId = name.substr(kPrefixLength, end - kPrefixLength);
    if (name.compare(0, kPrefixLength, kRawTracePrefix) != 0 ||
        name.compare(end, kExtensionLength, kTraceExtension) != 0 || !isProcessId(processId))
        return std::nullopt;
    return processId;
}

std::vector<RawTrace> rawTracesInStore() {
    const std::string store = HCrashRptSettings::getCrashStorePath();
    std::vector<RawTrace> traces;
    for (const std::string& path : filesWithPrefix(kRawTracePrefix, store)) {
        const auto processId = processIdOfTrace(path.substr(path.rfind('/') + 1));
        struct stat status = {};
        if (!processId || lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        traces.push_back({{path, stackTraceLogOf(path), TraceIdentity(status)}, *processId});
    }
    return traces;
}

}  // namespace hcrpt
