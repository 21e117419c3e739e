/// @file
/// Tests of texts.
#pragma once

#include <string>

namespace velcurl {

inline bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

}  // namespace velcurl
