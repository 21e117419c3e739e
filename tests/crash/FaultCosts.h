/// @file
/// What the failure of one system call may cost.
#pragma once

#include <functional>
#include <string>

#include "crash/FaultScene.h"

namespace crash_test {

/// Turns the record of an undisturbed death into the one that is to be expected.
struct Cost {
    std::string words;  ///< for the table
    std::function<void(Record&)> apply;
};

/// What this failure costs a death that goes as `death` otherwise.
Cost costOf(const Death& death, const Fault& fault);

/// Calls whose failure differs from that in the usual surroundings.
bool isOfInterest(const Death& death, std::size_t call);

}  // namespace crash_test
