#include "StoreScene.h"
#include "crash_reporter/InterruptedMoves.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::finishInterruptedMoves;
using namespace test_support;

class InterruptedMovesTest : public crash_reporter_test::StoreScene {
  protected:
    InterruptedMovesTest() { fs::create_directory(backup); }
    StdoutCapture output;
};

TEST_F(InterruptedMovesTest, AReportThatIsFiledAlreadyIsRemoved) {
    for (const char* status : {"send_success", "send_fail"}) {
        const std::string report = add("CrashReport_1.json", "{1}");
        const std::string copy = backup + "/CrashReport_1.json." + status;
        writeFile(copy, "{1}");
        finishInterruptedMoves();
        EXPECT_FALSE(fs::exists(report));
        EXPECT_NE(output.text().find("[Crash Reporter] Removed crash report " + report +
                                     ", which is filed already as " + copy + "\n"),
                  std::string::npos)
            << output.text();
        fs::remove(copy);
    }
}

TEST_F(InterruptedMovesTest, ReportsWithoutAnIdenticalCopyStay) {
    add("CrashReport_new.json", "{1}");
    add("CrashReport_other.json", "{1}");
    add("CrashReport_longer.json", "{1}");
    add("CrashReport_shorter.json", "{1}");
    add("CrashReport_later.json", "{1}");
    add("CrashReport_empty.json", "");
    writeFile(backup + "/CrashReport_other.json.send_success", "{2}");
    writeFile(backup + "/CrashReport_longer.json.send_success", "{1}}");
    writeFile(backup + "/CrashReport_shorter.json.send_success", "{1");
    writeFile(backup + "/CrashReport_later.json.send_later", "{1}");
    writeFile(backup + "/CrashReport_empty.json.send_fail", "");
    finishInterruptedMoves();
    EXPECT_EQ(namesIn(store).size(), 6U);
    EXPECT_EQ(output.text(), "");
}

TEST_F(InterruptedMovesTest, LongReportsAreComparedToTheirEnd) {
    const std::string content(10000, 'x');
    const std::string report = add("CrashReport_1.json", content);
    const std::string copy = backup + "/CrashReport_1.json.send_success";
    for (const std::string& other : {content.substr(1), content + "y", content.substr(1) + "y"}) {
        writeFile(copy, other);
        finishInterruptedMoves();
        EXPECT_TRUE(fs::exists(report));
    }
    writeFile(copy, content);
    finishInterruptedMoves();
    EXPECT_FALSE(fs::exists(report));
}

TEST_F(InterruptedMovesTest, ADirectoryInThePlaceOfACopyOrAReportIsLeftAlone) {
    add("CrashReport_1.json", "{1}");
    fs::create_directory(backup + "/CrashReport_1.json.send_success");
    fs::create_directory(store + "/CrashReport_2.json");
    writeFile(backup + "/CrashReport_2.json.send_success", "{1}");
    EXPECT_NO_THROW(finishInterruptedMoves());
    EXPECT_EQ(namesIn(store).size(), 2U);
    EXPECT_EQ(output.text(), "");
}

TEST_F(InterruptedMovesTest, WithoutStoresNothingHappens) {
    fs::remove_all(store);
    fs::remove_all(backup);
    finishInterruptedMoves();
    EXPECT_FALSE(fs::exists(store));
    EXPECT_FALSE(fs::exists(backup));
}

}  // namespace
