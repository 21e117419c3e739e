/// @file
/// A recording upload tool in an installation of its own.
#pragma once

#include <string>
#include <vector>

#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

namespace test_support {

/// Installs tests/programs/fake_velcurl where the upload looks for its tool, below appRoot(), and
/// tells it through the environment where to write down its calls. At first it answers each call
/// with the success line and status 0.
class FakeUploadTool {
  public:
    FakeUploadTool();

    /// Root to hand to the platform, such as ScopedFakePlatform::fakeAppRoot.
    std::string appRoot() const { return m_directory / "root"; }
    /// The installed tool.
    std::string path() const;

    /// What it prints to standard output, and its status, from now on.
    void answer(const std::string& output, int status = 0);
    /// The same for one call; the first is 1.
    void answerCall(int call, const std::string& output, int status = 0);
    /// What it prints to standard error.
    void answerErrors(const std::string& text);

    int calls() const;
    /// Arguments of a call, one by one, without the program's name.
    std::vector<std::string> arguments(int call) const;

  private:
    std::string record(const std::string& name) const { return m_directory / ("calls/" + name); }

    TempDir m_directory;
    ScopedEnvVar m_variable;
};

}  // namespace test_support
