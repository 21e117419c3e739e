/// @file
/// Tells whether reports can be filed.
#pragma once

#include <optional>
#include <string>

#include "crash_reporter/PassSchedule.h"

namespace crash_reporter {

/// Finds what would make filing these reports lose or repeat them: a crash store from which nothing
/// can be removed, or a backup store that cannot be made, cannot be written to or has no room for
/// them.
/// Makes the backup store if it is missing. A pass in spite of the obstacle would remove reports
/// that have no copy, or send the same reports again and again.
/// @return the obstacle in words; nothing when there is none.
[[nodiscard]] std::optional<std::string> obstacleToFiling(const Reports& waiting);

}  // namespace crash_reporter
