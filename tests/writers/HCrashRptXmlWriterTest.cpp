#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "hcrpt/HCrashRptWriters.h"
#include "support/CrashArena.h"
#include "support/StdoutCapture.h"
#include "writers/WriterTest.h"

using HCrashRptMetaData::TableNode;
using namespace test_support;
using Nodes = std::vector<TableNode*>;
using Names = std::vector<std::string>;

namespace {

const std::string kFileName = writers_test::Xml::fileName;
const std::string kBegin = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<crashReporter>\n";
const std::string kNoTrace = "<stacktrace></stacktrace>\n";
const std::string kEnd = "</crashReporter>\n";

class XmlWriterTest : public writers_test::WriterTest<writers_test::Xml> {
  protected:
    /// What reaches a stream over a file of its own.
    std::string streamed(const std::function<void(std::ofstream&)>& body) {
        const std::string path = dir / "stream";
        std::ofstream stream(path);
        body(stream);
        stream.close();
        return readFile(path);
    }
};

std::string valueText(const Nodes& children) {
    std::string text;
    HCrashRptXmlWriter::createValueStringRec(children, text);
    return text;
}

// --- The document --------------------------------------------------------------------------------

TEST_F(XmlWriterTest, EmptyReportHasFourLines) {
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
        "<crashReporter>\n"
        "<stacktrace></stacktrace>\n"
        "</crashReporter>\n",
        written());
}

TEST_F(XmlWriterTest, ClosingTagOfAPairStartsALineOfItsOwn) {
    manager.addItem("os", "Linux");
    EXPECT_EQ(kBegin + "<os> Linux\n</os>\n" + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, ItemWithoutChildrenIsOneLine) {
    manager.addItem("leaf", Nodes{});
    EXPECT_EQ(kBegin + "<leaf></leaf>\n" + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, EveryLevelAddsALineFeedAfterItsNode) {
    manager.addItem("table", Nodes{node("a", {leaf("1")}), node("b", {leaf("2")})});
    manager.addItem("list", Nodes{leaf("x"), leaf("y")});
    manager.addItem("deep", Nodes{node("a", {leaf("b"), node("c", {leaf("d"), leaf("")})})});
    EXPECT_EQ(kBegin +
                  "<table> a 1\n\n b 2\n\n</table>\n"
                  "<list> x\n y\n</list>\n"
                  "<deep> a b\n c d\n \n\n\n</deep>\n" +
                  kNoTrace + kEnd,
              written());
}

TEST_F(XmlWriterTest, ItemsStayInTableOrderAndMayOccurTwice) {
    manager.addItem("signalNumber", "11");
    manager.addItem("other", "x");
    manager.addItem("signalNumber", "6");
    EXPECT_EQ(kBegin +
                  "<signalNumber> 11\n</signalNumber>\n<other> x\n</other>\n"
                  "<signalNumber> 6\n</signalNumber>\n" +
                  kNoTrace + kEnd,
              written());
}

TEST_F(XmlWriterTest, StacktraceIsMovedToTheEnd) {
    manager.addItem("stacktrace", Nodes{leaf("frame 1"), leaf("frame 2")});
    manager.addItem("last", "x");
    EXPECT_EQ(kBegin + "<last> x\n</last>\n<stacktrace> frame 1\n frame 2\n</stacktrace>\n" + kEnd,
              written());
}

TEST_F(XmlWriterTest, SeveralStacktracesBecomeOne) {
    manager.addItem("first", "1");
    manager.addItem("stacktrace", Nodes{leaf("a1"), leaf("a2")});
    manager.addItem("between", "2");
    manager.addItem("stacktrace", "b");
    manager.addItem("stacktrace", Nodes{});
    manager.addItem("last", "3");
    EXPECT_EQ(kBegin +
                  "<first> 1\n</first>\n<between> 2\n</between>\n<last> 3\n</last>\n"
                  "<stacktrace> a1\n a2\n b\n</stacktrace>\n" +
                  kEnd,
              written());
}

TEST_F(XmlWriterTest, OnlyTheExactWordStacktraceIsMoved) {
    for (const char* key : {"stack-trace", "Stacktrace", "STACKTRACE", "stackTrace", "stack_trace",
                            "stacktrace ", " stacktrace", "stacktraces", "stacktrac"})
        manager.addItem(key, "x");
    manager.addItem(std::string("stacktrace\0", 11), "x");
    EXPECT_EQ(kBegin +
                  "<stack-trace> x\n</stack-trace>\n"
                  "<Stacktrace> x\n</Stacktrace>\n"
                  "<STACKTRACE> x\n</STACKTRACE>\n"
                  "<stackTrace> x\n</stackTrace>\n"
                  "<stack_trace> x\n</stack_trace>\n"
                  "<stacktrace > x\n</stacktrace >\n"
                  "< stacktrace> x\n</ stacktrace>\n"
                  "<stacktraces> x\n</stacktraces>\n"
                  "<stacktrac> x\n</stacktrac>\n" +
                  std::string("<stacktrace\0> x\n</stacktrace\0>\n", 31) + kNoTrace + kEnd,
              written());
}

TEST_F(XmlWriterTest, StacktraceBelowAnotherItemStaysThere) {
    manager.addItem("outer", Nodes{node("stacktrace", {leaf("x")})});
    EXPECT_EQ(kBegin + "<outer> stacktrace x\n\n</outer>\n" + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, NothingIsEscapedEvenIfTheResultIsNoXml) {
    manager.addItem("a <b> & \"c\"", "<&>'\"]]>\t\r\n\x01");
    EXPECT_EQ(kBegin + "<a <b> & \"c\"> <&>'\"]]>\t\r\n\x01\n</a <b> & \"c\">\n" + kNoTrace + kEnd,
              written());
}

TEST_F(XmlWriterTest, BytesBeyondAsciiAreCopiedValidOrNot) {
    manager.addItem("gr\xc3\xbc\xc3\x9f", "\xff\x80\xc3");
    EXPECT_EQ(
        kBegin + "<gr\xc3\xbc\xc3\x9f> \xff\x80\xc3\n</gr\xc3\xbc\xc3\x9f>\n" + kNoTrace + kEnd,
        written());
}

// The JSON report cuts a text there.
TEST_F(XmlWriterTest, NulBytesStay) {
    manager.addItem(std::string("k\0y", 3), std::string("v\0l", 3));
    EXPECT_EQ(kBegin + std::string("<k\0y> v\0l\n</k\0y>\n", 17) + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, DepthHasNoLimit) {
    constexpr int kDepth = 300;
    TableNode* inner = leaf("innermost");
    std::string expected = " innermost\n";
    for (int i = 0; i < kDepth; ++i) {
        inner = node("level", {inner});
        expected = " level" + expected + "\n";
    }
    manager.addItem("root", Nodes{inner});
    EXPECT_EQ(kBegin + "<root>" + expected + "</root>\n" + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, DocumentIsAddedToWhatTheStreamHolds) {
    manager.addItem("os", "Linux");
    EXPECT_EQ("before\n" + kBegin + "<os> Linux\n</os>\n" + kNoTrace + kEnd + "after\n",
              streamed([this](std::ofstream& stream) {
                  stream << "before\n";
                  HCrashRptXmlWriter::writeXmlFromMetaData(stream, manager);
                  stream << "after\n";
              }));
}

TEST_F(XmlWriterTest, StreamThatIsNotOpenTakesNothingWithoutAMessage) {
    StdoutCapture output;
    std::ofstream stream;
    HCrashRptXmlWriter::writeXmlFromMetaData(stream, manager);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ("", output.text());
}

// --- The file ------------------------------------------------------------------------------------

TEST_F(XmlWriterTest, NameHoldsProcessHostUserAndTimeWithoutSpaces) {
    EXPECT_EQ("CrashReport_4242_testhost_tester_20261121T054733.xml",
              HCrashRptXmlWriter::getCrashReportXmlName());
    platform.fakePid = -1;
    platform.fakeHostName = "host.test.example";
    platform.fakeUserName = "some user_1";
    platform.fakeTimeStamp = " Sat Nov 21  05:47:33\t2026 ";
    EXPECT_EQ("CrashReport_-1_host.test.example_some user_1_SatNov2105:47:33\t2026.xml",
              HCrashRptXmlWriter::getCrashReportXmlName());
}

// --- Failures ------------------------------------------------------------------------------------

// Unlike the JSON writer, on purpose.
TEST_F(XmlWriterTest, FileThatCannotBeOpenedGoesUnnoticed) {
    platform.onIsWriteable = [](const std::string&) { return true; };
    manager.addItem("key", "value");
    StdoutCapture output;
    EXPECT_EQ(dir / ("missing/" + kFileName),
              HCrashRptXmlWriter::writeXmlRpt(dir / "missing", manager));
    std::filesystem::create_directory(dir / kFileName);
    EXPECT_EQ(dir / kFileName, HCrashRptXmlWriter::writeXmlRpt(dir.path(), manager));
    EXPECT_EQ("", output.text());
    EXPECT_EQ(Names{kFileName}, namesIn(dir.path()));
    EXPECT_TRUE(namesIn(dir / kFileName).empty());
}

// --- Elements and values -------------------------------------------------------------------------

TEST_F(XmlWriterTest, MarkUpEnclosesTheValueInTheTag) {
    const auto getXmlMarkUp = HCrashRptXmlWriter::getXmlMarkUp;
    EXPECT_EQ("<tag>value</tag>", getXmlMarkUp("tag", "value"));
    EXPECT_EQ("<tag></tag>", getXmlMarkUp("tag", ""));
    EXPECT_EQ("<></>", getXmlMarkUp("", ""));
    EXPECT_EQ("<a b>\n<&></a b>", getXmlMarkUp("a b", "\n<&>"));
}

TEST_F(XmlWriterTest, ValueOfEachShape) {
    EXPECT_EQ("", valueText({}));
    EXPECT_EQ(" Linux\n", valueText({leaf("Linux")}));
    EXPECT_EQ(" \n", valueText({leaf("")}));
    EXPECT_EQ(" b\n a\n", valueText({leaf("b"), leaf("a")}));
    EXPECT_EQ(" a 1\n\n b 2\n\n", valueText({node("a", {leaf("1")}), node("b", {leaf("2")})}));
}

TEST_F(XmlWriterTest, ValueIsAppended) {
    std::string text = "before";
    HCrashRptXmlWriter::createValueStringRec({leaf("a")}, text);
    HCrashRptXmlWriter::createValueStringRec({leaf("b")}, text);
    EXPECT_EQ("before a\n b\n", text);
}

TEST_F(XmlWriterTest, BuildInfoIsAlwaysEmpty) {
    EXPECT_EQ("", HCrashRptXmlWriter::getBuildInfo());
}

// --- Copied lines --------------------------------------------------------------------------------

TEST_F(XmlWriterTest, CopiedLinesAreTheFilesAndTheLastOneGetsItsLineFeed) {
    const struct {
        std::string content, copy;
    } kCases[] = {
        {"", ""},
        {"\n", "\n"},
        {"one", "one\n"},
        {"one\ntwo", "one\ntwo\n"},
        {"one\ntwo\n", "one\ntwo\n"},
        {"\n\none\n\n two \r\n\n", "\n\none\n\n two \r\n\n"},
        {std::string("n\0l\nx", 5), std::string("n\0l\nx\n", 6)},
        {"<&>\xff" + std::string(100000, 'v'), "<&>\xff" + std::string(100000, 'v') + "\n"},
    };
    for (const auto& oneCase : kCases) {
        writeFile(dir / "source", oneCase.content);
        EXPECT_EQ("before\n" + oneCase.copy, streamed([this](std::ofstream& stream) {
                      stream << "before\n";
                      EXPECT_TRUE(HCrashRptXmlWriter::copyLinesFromFile(dir / "source", stream));
                  }));
    }
}

TEST_F(XmlWriterTest, MissingSourceIsFalseWithoutAMessage) {
    StdoutCapture output;
    EXPECT_EQ("", streamed([this](std::ofstream& stream) {
                  EXPECT_FALSE(HCrashRptXmlWriter::copyLinesFromFile(dir / "missing", stream));
                  EXPECT_TRUE(stream.good());
              }));
    EXPECT_EQ("", output.text());
}

TEST_F(XmlWriterTest, SourceThatOpensButCannotBeReadIsTrueAndCopiesNothing) {
    EXPECT_EQ("", streamed([this](std::ofstream& stream) {
                  EXPECT_TRUE(HCrashRptXmlWriter::copyLinesFromFile(dir.path(), stream));
              }));
}

// --- Null children, left by an exhausted arena ---------------------------------------------------

TEST_F(XmlWriterTest, PairWhoseValueFoundNoRoomIsEmpty) {
    test_support::leaveInArena(2 * sizeof(TableNode) - 1);
    manager.addItem("key", "value");
    ASSERT_EQ(nullptr, manager.getTable()[0]->getTreeTable()[0]);
    EXPECT_EQ(kBegin + "<key></key>\n" + kNoTrace + kEnd, written());
}

TEST_F(XmlWriterTest, NullChildContributesNothing) {
    EXPECT_EQ("", valueText({nullptr}));
    EXPECT_EQ(" a\n b\n", valueText({nullptr, leaf("a"), nullptr, leaf("b"), nullptr}));
    EXPECT_EQ(" pair\n a\n", valueText({node("pair", {nullptr}), leaf("a")}));
}

}  // namespace
