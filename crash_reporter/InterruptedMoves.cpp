#include "crash_reporter/InterruptedMoves.h"

#include <algorithm>
#include <array>
#include <fstream>
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
    // Not by stream iterators: they throw where a read fails, as that of a directory does.
    std::array<char, 4096> ofFirst = {};
    std::array<char, 4096> ofSecond = {};
    bool any = false;
    for (;;) {
        const std::streamsize got = first.read(ofFirst.data(), ofFirst.size()).gcount();
        second.read(ofSecond.data(), ofSecond.size());
        if (first.bad() || second.bad() || second.gcount() != got) return false;
        if (got == 0) return any && first.eof();
        if (!std::equal(ofFirst.begin(), ofFirst.begin() + got, ofSecond.begin())) return false;
        any = true;
    }
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
