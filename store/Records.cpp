#include "store/Records.h"

#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "HUTEnv.h"
#include "base/Digits.h"
#include "hcrpt/HCrashReporter.h"

namespace hcrpt {
namespace {

Records recordsOf(std::istream& text) {
    return Records(std::istream_iterator<std::string>(text), {});
}

}  // namespace

std::string recordOf(const std::string& hostName, const std::string& processId) {
    return hostName + ":" + processId;
}

Records recordsIn(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return recordsOf(file);
}

Records recordsIn(int fd) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t got = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()));
        if (got <= 0) break;
        text.append(buffer, static_cast<std::size_t>(got));
    }
    std::istringstream in(text);
    return recordsOf(in);
}

std::optional<std::string> localProcess(const std::string& record) {
    const HCrashReporter::HClientProcessInfo process(record);
    const std::string pid = process.getProcessId();
    if (!isProcessId(pid) || process.getHostName() != HUTEnv::getHostName()) return std::nullopt;
    return pid;
}

}  // namespace hcrpt
