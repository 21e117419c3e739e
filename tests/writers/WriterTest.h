/// @file
/// A report that a test fills and one of the writers writes.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptWriters.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

namespace writers_test {

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;

struct Json {
    static constexpr char fileName[] = "CrashReport_4242_testhost_tester_20261121T054733.json";
    static std::string write(const std::string& directory, Manager& manager) {
        return HCrashRptJsonWriter::writeJsonRpt(directory, manager);
    }
};

struct Xml {
    static constexpr char fileName[] = "CrashReport_4242_testhost_tester_20261121T054733.xml";
    static std::string write(const std::string& directory, Manager& manager) {
        return HCrashRptXmlWriter::writeXmlRpt(directory, manager);
    }
};

template <typename Format>
class WriterTest : public testing::Test {
  protected:
    WriterTest() { platform.fakePid = 4242; }

    TableNode* leaf(const std::string& key) { return &nodes.emplace_back(key); }
    TableNode* node(const std::string& key, const std::vector<TableNode*>& children) {
        return &nodes.emplace_back(key, children);
    }
    /// What the report with the manager's items holds.
    std::string written() {
        const std::string path = Format::write(dir.path(), manager);
        EXPECT_EQ(dir / Format::fileName, path);
        return test_support::readFile(path);
    }

    test_support::ScopedFakePlatform platform;
    test_support::TempDir dir;
    Manager manager;
    std::deque<TableNode> nodes;  // keeps its elements' addresses
};

}  // namespace writers_test
