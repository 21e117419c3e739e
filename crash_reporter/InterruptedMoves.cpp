#include "crash_reporter/InterruptedMoves.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "HUTFile.h"
#include "crash_reporter/Log.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

/// Returns true when both files can be read and hold the same bytes, at least one.
bool holdTheSame(const std::string& one, const std::string& other) {
    std::ifstream first(one, std::ios::binary);
    std::ifstream second(other, std::ios::binary);
    if (!first.is_open() || !second.is_open()) return false;
    if (first.peek() == std::ifstream::traits_type::eof()) return false;
    using Bytes = std::istreambuf_iterator<char>;
    return std::equal(Bytes(first), Bytes(), Bytes(second), Bytes());
}

std::optional<std::string> filedCopyOf(const std::string& report) {
    const std::string place = HCrashRptSettings::getCrashBackupStorePath() +
                              HUTFile::getDirSeparator() + HUTFile(report).getName() + ".";
    for (const auto status : {HCrashRptSettings::SEND_SUCCESS, HCrashRptSettings::SEND_FAIL}) {
        const std::string copy = place + HCrashRptUtils::backupStatusToString(status);
        if (holdTheSame(report, copy)) return copy;
    }
    return std::nullopt;
}

}  // namespace

void finishInterruptedMoves() {
    for (const std::string& report : HCrashRptUtils::getFilesWithPrefix(
             HCrashRptSettings::getCrashRptPrefix(), HCrashRptSettings::getCrashStorePath())) {
        const std::optional<std::string> copy = filedCopyOf(report);
        if (copy && HUTFile(report).rm())
            logInfo("Removed crash report " + report + ", which is filed already as " + *copy);
    }
}

}  // namespace crash_reporter
