/// @file
/// Facts that a host gives to this platform library.
#pragma once

#include <string>

#include "HUTExport.h"

namespace HUTPlatform {

/// The host's product, which only the host knows.
struct HUTProductInfo {
    std::string name;     ///< such as "Designer"
    std::string version;  ///< such as "4.2"
    int buildNumber = 0;
    std::string buildDate;
};

/// Sets the product's facts. A host calls it once, on its start-up thread, before it registers. A
/// later call replaces the facts.
HUT_EXPORT void setProduct(const HUTProductInfo& product);

}  // namespace HUTPlatform
