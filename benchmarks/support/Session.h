/// @file
/// A session for a benchmark.
#pragma once

#include <string>

#include "support/Session.h"

namespace bench {

/// A session with an empty crash store. The constructor sets the environment of this process to it.
class Session : public test_support::Session {
  public:
    Session();
};

/// Ends the program with a message if the condition does not hold: a figure of work that was not
/// done is worthless.
void require(bool condition, const char* what);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace bench
