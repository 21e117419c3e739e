/// @file
/// A session of a benchmark's own: directories, and the environment that leads to them.
#pragma once

#include <string>

namespace bench {

/// Makes the directories of a session below a fresh temporary one and sets the environment of this
/// process to it; removes them with all that is in them at the end of the scope.
class Session {
  public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Sets the environment to this session again, after another one was made.
    void enter() const;

    const std::string& directory() const { return m_directory; }
    std::string crashStore() const { return m_directory + "/.crashReporter/1/crashStore"; }

  private:
    std::string m_directory;
};

/// Ends the program with a message if the condition does not hold: a figure of something that did
/// not happen is worth nothing.
void require(bool condition, const char* what);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace bench
