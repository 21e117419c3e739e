/// @file
/// What lies in the crash store.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "store/RawTraces.h"

namespace hcrpt {

/// One walk over the crash store's directory, so that a round of the crash reporter needs no other.
/// Empty where there is no store. Grade: @ordinary.
struct StoreSnapshot {
    [[nodiscard]] static StoreSnapshot take();

    std::vector<TraceFile> rawTraces;  ///< in directory order
    std::set<std::string> reports;     ///< paths
    bool hasRegistrations = false;     ///< the registration file lies there
};

}  // namespace hcrpt
