/// @file
/// An environment variable for the time of a scope.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace test_support {

/// Sets a variable, or unsets it for std::nullopt, and restores it at the end of the scope.
class ScopedEnvVar {
  public:
    ScopedEnvVar(const std::string& name, const std::optional<std::string>& value) : m_name(name) {
        if (const char* before = std::getenv(name.c_str())) m_before = before;
        set(value);
    }
    ~ScopedEnvVar() { set(m_before); }
    ScopedEnvVar(const ScopedEnvVar&) = delete;
    ScopedEnvVar& operator=(const ScopedEnvVar&) = delete;

    void set(const std::optional<std::string>& value) {
        if (value)
            setenv(m_name.c_str(), value->c_str(), 1);
        else
            unsetenv(m_name.c_str());
    }

  private:
    std::string m_name;
    std::optional<std::string> m_before;
};

}  // namespace test_support
