#include <chrono>
#include <ctime>
#include <stdexcept>

#include "hcrpt/HCrashRptUtils.h"
#include "utils/TimeText.h"

namespace {

/// What asctime_r() and ctime_r() ask for; they have no text for a year of more than four digits.
constexpr std::size_t kTextSize = 26;

/// The text before its line feed.
std::string withoutLineFeed(const char* text) {
    // There is no sensible stand-in for a time that cannot be shown.
    if (text == nullptr) throw std::logic_error("no text for the current time");
    const std::string line(text);
    return line.substr(0, line.find('\n'));
}

}  // namespace

// The reentrant variants: a host's threads use the shared buffer of the others. These variants do
// not look at the time zone again by themselves, hence tzset().

std::string hcrpt::timeText(std::time_t time) {
    tzset();
    tm parts = {};
    char text[kTextSize];
    return withoutLineFeed(localtime_r(&time, &parts) == nullptr ? nullptr
                                                                 : asctime_r(&parts, text));
}

namespace HCrashRptUtils {

std::string timestamp() {
    return hcrpt::timeText(std::time(nullptr));
}

std::string getCurrentTime() {
    tzset();
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[kTextSize];
    return withoutLineFeed(ctime_r(&now, text));
}

}  // namespace HCrashRptUtils
