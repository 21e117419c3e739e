/// @file
/// Whether reports could be filed.
#pragma once

#include <string>

#include "crash_reporter/PassSchedule.h"

namespace crash_reporter {

/// What would make filing these reports lose or repeat them: a crash store from which nothing can
/// be removed, a backup store that is not there and cannot be made, or one without room for them.
/// The backup store is made on the way. A pass that is made all the same would remove reports of
/// which no copy is left, or send the same ones over and over.
/// @return the obstacle in words; empty when there is none.
std::string obstacleToFiling(const Reports& waiting);

}  // namespace crash_reporter
