/// @file
/// A session of a benchmark's own.
#pragma once

#include <string>

#include "support/Session.h"

namespace bench {

/// A session that this process is in from its making on, with an empty crash store.
class Session : public test_support::Session {
  public:
    Session();
};

/// Ends the program with a message if the condition does not hold: a figure of something that did
/// not happen is worth nothing.
void require(bool condition, const char* what);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace bench
