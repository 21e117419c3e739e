/// @file
/// Points in time as reports show them.
#pragma once

#include <ctime>
#include <string>

namespace hcrpt {

/// Local time in asctime()'s layout without the line feed, as HCrashRptUtils::timestamp() gives the
/// current one. @crashtime
/// @throws std::logic_error for a time that has no such text.
std::string timeText(std::time_t time);

}  // namespace hcrpt
