/// @file
/// Items of a JSON crash report.
#pragma once

#include <string>
#include <vector>

namespace integration_test {

/// A report read by a JSON parser; a test failure when it is not valid JSON. Items that are missing
/// or of another kind fail the test as well.
class ReportContent {
  public:
    explicit ReportContent(const std::string& path);
    std::string text(const std::string& key) const;
    std::vector<std::string> list(const std::string& key) const;
    /// Keys in the order of the file.
    std::vector<std::string> keys() const;

  private:
    std::string m_path;
    std::string m_json;
};

}  // namespace integration_test
