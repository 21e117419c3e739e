#include <gtest/gtest.h>

#include "hcrpt/HCrashRptWriters.h"
#include "support/CrashArena.h"
#include "support/StdoutCapture.h"
#include "writers/WriterTest.h"

using HCrashRptMetaData::TableNode;
using namespace test_support;
using Nodes = std::vector<TableNode*>;

namespace {

const std::string kFileName = writers_test::Json::fileName;

class JsonWriterTest : public writers_test::WriterTest<writers_test::Json> {};

/// A list's value as compact text: strings in quotes, arrays and objects in their brackets.
std::string valueText(const rapidjson::Value& value) {
    if (value.IsString())
        return "'" + std::string(value.GetString(), value.GetStringLength()) + "'";
    std::string text;
    if (value.IsArray()) {
        for (const auto& element : value.GetArray())
            text += (text.empty() ? "" : ",") + valueText(element);
        return "[" + text + "]";
    }
    for (const auto& member : value.GetObject())
        text += (text.empty() ? "" : ",") + valueText(member.name) + ":" + valueText(member.value);
    return "{" + text + "}";
}

std::string valueOf(const Nodes& children) {
    rapidjson::Document document;
    return valueText(HCrashRptJsonWriter::setValRec(children, document.GetAllocator()));
}

// --- The file ------------------------------------------------------------------------------------

TEST_F(JsonWriterTest, EmptyReportIsAnEmptyObject) {
    EXPECT_EQ("{}", written());
}

TEST_F(JsonWriterTest, EachShapeIsWrittenWithTwoSpacesAndNoFinalLineFeed) {
    manager.addItem("pair", "value");
    manager.addItem("empty pair", "");
    manager.addItem("table without children", Nodes{});
    manager.addItem("table with one leaf", Nodes{leaf("only")});
    manager.addItem("table with one table", Nodes{node("inner", {leaf("value")})});
    manager.addItem("table with two leaves", Nodes{leaf("a"), leaf("b")});
    manager.addItem("nested",
                    Nodes{leaf("a"), node("b", {leaf("c"), node("d", {leaf("e"), leaf("")})})});
    EXPECT_EQ(
        "{\n"
        "  \"pair\": \"value\",\n"
        "  \"empty pair\": \"\",\n"
        "  \"table without children\": \"\",\n"
        "  \"table with one leaf\": \"only\",\n"
        "  \"table with one table\": [\n"
        "    {\n"
        "      \"inner\": \"value\"\n"
        "    }\n"
        "  ],\n"
        "  \"table with two leaves\": [\n"
        "    \"a\",\n"
        "    \"b\"\n"
        "  ],\n"
        "  \"nested\": [\n"
        "    \"a\",\n"
        "    {\n"
        "      \"b\": [\n"
        "        \"c\",\n"
        "        {\n"
        "          \"d\": [\n"
        "            \"e\",\n"
        "            \"\"\n"
        "          ]\n"
        "        }\n"
        "      ]\n"
        "    }\n"
        "  ]\n"
        "}",
        written());
}

TEST_F(JsonWriterTest, SameKeyTwiceGivesTwoMembers) {
    manager.addItem("signalNumber", "11");
    manager.addItem("other", "x");
    manager.addItem("signalNumber", "6");
    EXPECT_EQ("{\n  \"signalNumber\": \"11\",\n  \"other\": \"x\",\n  \"signalNumber\": \"6\"\n}",
              written());
}

TEST_F(JsonWriterTest, QuotesBackslashesAndControlCharactersAreEscaped) {
    manager.addItem("a\"b\\c/d", "\b\f\n\r\t\x01\x1f\x7f");
    EXPECT_EQ("{\n  \"a\\\"b\\\\c/d\": \"\\b\\f\\n\\r\\t\\u0001\\u001F\x7f\"\n}", written());
}

TEST_F(JsonWriterTest, BytesBeyondAsciiAreCopiedValidOrNot) {
    manager.addItem("gr\xc3\xbc\xc3\x9f", "\xff\x80\xc3");
    EXPECT_EQ("{\n  \"gr\xc3\xbc\xc3\x9f\": \"\xff\x80\xc3\"\n}", written());
}

TEST_F(JsonWriterTest, TextsEndAtTheirFirstNul) {
    manager.addItem(std::string("key\0cut", 7), std::string("value\0cut", 9));
    manager.addItem(std::string("\0all", 4), Nodes{leaf("a"), leaf(std::string("b\0c", 3))});
    EXPECT_EQ("{\n  \"key\": \"value\",\n  \"\": [\n    \"a\",\n    \"b\"\n  ]\n}", written());
}

TEST_F(JsonWriterTest, DepthHasNoLimit) {
    constexpr int kDepth = 300;
    TableNode* inner = leaf("innermost");
    for (int i = 0; i < kDepth; ++i) inner = node("level", {inner});
    manager.addItem("root", Nodes{inner});
    rapidjson::Document document;
    ASSERT_FALSE(document.Parse(written().c_str()).HasParseError());
    const rapidjson::Value* value = &document["root"];
    int depth = 0;
    for (; value->IsArray(); ++depth) {
        ASSERT_EQ(1u, value->Size());
        value = &(*value)[0]["level"];
    }
    EXPECT_EQ(kDepth, depth);
    EXPECT_STREQ("innermost", value->GetString());
}

// --- Failures ------------------------------------------------------------------------------------

TEST_F(JsonWriterTest, FileThatCannotBeOpenedIsNamedWithoutABlank) {
    platform.onIsWriteable = [](const std::string&) { return true; };
    StdoutCapture output;
    EXPECT_EQ("", HCrashRptJsonWriter::writeJsonRpt(dir / "missing", manager));
    EXPECT_EQ("[Crash Reporter] Error: Could not open crash report file for write:" +
                  (dir / "missing/") + kFileName + "\n",
              output.flushedText());
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

// --- Values --------------------------------------------------------------------------------------

TEST_F(JsonWriterTest, ValueOfNoChildrenIsTheEmptyString) {
    EXPECT_EQ("''", valueOf({}));
}

TEST_F(JsonWriterTest, ValueOfASingleLeafIsItsText) {
    EXPECT_EQ("'a'", valueOf({leaf("a")}));
    EXPECT_EQ("''", valueOf({leaf("")}));
}

TEST_F(JsonWriterTest, ValueOfASingleNodeWithChildrenIsAnArrayOfOneObject) {
    EXPECT_EQ("[{'a':'b'}]", valueOf({node("a", {leaf("b")})}));
}

TEST_F(JsonWriterTest, ValueOfSeveralChildrenIsAnArrayInOrder) {
    EXPECT_EQ("['b','a']", valueOf({leaf("b"), leaf("a")}));
    EXPECT_EQ("['a',{'b':['c','d']},'e']",
              valueOf({leaf("a"), node("b", {leaf("c"), leaf("d")}), leaf("e")}));
}

TEST_F(JsonWriterTest, SharedChildrenAreWrittenUnderEachParent) {
    TableNode* shared = leaf("s");
    EXPECT_EQ("[{'a':'s'},{'b':'s'}]", valueOf({node("a", {shared}), node("b", {shared})}));
}

TEST_F(JsonWriterTest, ValuesAreCopiesThatOutliveTheTree) {
    rapidjson::Document document;
    rapidjson::Value value;
    {
        TableNode temporary(std::string(100, 'x'));
        value = HCrashRptJsonWriter::setValRec({&temporary}, document.GetAllocator());
    }
    EXPECT_EQ("'" + std::string(100, 'x') + "'", valueText(value));
}

TEST_F(JsonWriterTest, ContainsStringOnlyAsASingleLeaf) {
    const auto isContainString = HCrashRptJsonWriter::isContainString;
    EXPECT_TRUE(isContainString({leaf("a")}));
    EXPECT_TRUE(isContainString({leaf("")}));
    EXPECT_FALSE(isContainString({}));
    EXPECT_FALSE(isContainString({leaf("a"), leaf("b")}));
    EXPECT_FALSE(isContainString({node("a", {leaf("b")})}));
    EXPECT_FALSE(isContainString({nullptr}));
}

TEST_F(JsonWriterTest, PopulateAddsToTheMembersThatAreThere) {
    rapidjson::Document document(rapidjson::kObjectType);
    document.AddMember("first", "x", document.GetAllocator());
    manager.addItem("second", "y");
    HCrashRptJsonWriter::populateDocWithMetaData(document, manager);
    EXPECT_EQ("{'first':'x','second':'y'}", valueText(document));
}

// --- Null children, left by an exhausted arena -----------------------------------------------

TEST_F(JsonWriterTest, PairWhoseValueFoundNoRoomHasTheEmptyString) {
    test_support::leaveInArena(2 * sizeof(TableNode) - 1);
    manager.addItem("key", "value");
    ASSERT_EQ(nullptr, manager.getTable()[0]->getTreeTable()[0]);
    EXPECT_EQ("{\n  \"key\": \"\"\n}", written());
}

TEST_F(JsonWriterTest, NullChildIsLeftOutOfAList) {
    EXPECT_EQ("['a','b']", valueOf({nullptr, leaf("a"), nullptr, leaf("b")}));
    EXPECT_EQ("['a']", valueOf({leaf("a"), nullptr}));
    EXPECT_EQ("[]", valueOf({nullptr, nullptr}));
    EXPECT_EQ("[{'pair':''},'a']", valueOf({node("pair", {nullptr}), leaf("a")}));
}

}  // namespace
