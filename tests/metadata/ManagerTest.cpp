#include <gtest/gtest.h>

#include "TreeText.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "support/CrashArena.h"
#include "support/StdoutCapture.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;
using Nodes = std::vector<TableNode*>;

namespace {

const char* address(const TableNode* node) {
    return reinterpret_cast<const char*>(node);
}
const char* arenaEnd() {
    return static_cast<char*>(HCrptResourceMgr::get()->allocateMem(0));
}

TEST(ManagerTest, StartsEmpty) {
    EXPECT_TRUE(Manager().getTable().empty());
}

TEST(ManagerTest, ItemsStandInTheOrderOfTheirAdding) {
    Manager manager;
    Nodes list;
    manager.addItem(list, "line 1");
    manager.addItem(list, "name", "value");
    manager.addItem(list, "table", Nodes{list[0]});
    manager.addItem("pair", "value");
    manager.addItem("table", list);
    manager.addItem("pair", "again");
    EXPECT_EQ((Texts{"line 1", "name[value]", "table[line 1]"}), treeTexts(list));
    EXPECT_EQ((Texts{"pair[value]", "table[line 1, name[value], table[line 1]]", "pair[again]"}),
              treeTexts(manager.getTable()));
}

TEST(ManagerTest, ItemsOfAListOfTheCallersDoNotEnterTheReport) {
    Manager manager;
    Nodes list;
    manager.addItem(list, "line");
    EXPECT_TRUE(manager.getTable().empty());
}

TEST(ManagerTest, PairTakesItsOwnBlockBeforeItsValues) {
    Manager manager;
    const char* before = arenaEnd();
    manager.addItem("key", "value");
    const TableNode* pair = manager.getTable()[0];
    EXPECT_EQ(before, address(pair));
    EXPECT_EQ(before + sizeof(TableNode), address(pair->getTreeTable()[0]));
    EXPECT_EQ(before + 2 * sizeof(TableNode), arenaEnd());
}

TEST(ManagerTest, LeafAndTableTakeOneBlockEach) {
    Manager manager;
    const char* before = arenaEnd();
    Nodes list;
    manager.addItem(list, "leaf");
    EXPECT_EQ(before, address(list[0]));
    manager.addItem("table", list);
    EXPECT_EQ(before + sizeof(TableNode), address(manager.getTable()[0]));
    EXPECT_EQ(before + 2 * sizeof(TableNode), arenaEnd());
}

TEST(ManagerTest, FullArenaAddsNothingSaysNothingAndKeepsWhatIsThere) {
    test_support::leaveInArena(2 * sizeof(TableNode));
    test_support::StdoutCapture output;
    Manager manager;
    manager.addItem("kept", "value");
    Nodes list;
    manager.addItem("pair", "value");
    manager.addItem("table", manager.getTable());
    manager.addItem(list, "leaf");
    manager.addItem(list, "pair", "value");
    manager.addItem(list, "table", manager.getTable());
    EXPECT_EQ(Texts{"kept[value]"}, treeTexts(manager.getTable()));
    EXPECT_TRUE(list.empty());
    EXPECT_EQ("", output.text());
}

TEST(ManagerTest, PairWhoseValueFindsNoRoomIsAddedWithANullChild) {
    test_support::leaveInArena(2 * sizeof(TableNode) - 1);
    Manager manager;
    manager.addItem("key", "value");
    EXPECT_EQ(Texts{"key[(null)]"}, treeTexts(manager.getTable()));
}

TEST(ManagerTest, LongListingExhaustsTheArenaForAllThatFollows) {
    Manager manager;
    manager.addItem("before", "value");
    Nodes lines;
    for (int i = 0; i < 2000; ++i) manager.addItem(lines, "line " + std::to_string(i));
    EXPECT_LT(lines.size(), 2000u);
    EXPECT_EQ("line 0", lines.front()->getKey());
    EXPECT_EQ("line " + std::to_string(lines.size() - 1), lines.back()->getKey());
    manager.addItem("after", lines);
    EXPECT_EQ(Texts{"before[value]"}, treeTexts(manager.getTable()));
}

TEST(ManagerTest, NodesOutliveTheirManager) {
    const std::string longText(100, 'v');  // on the heap, where a released text does not last
    Nodes table;
    {
        Manager manager;
        manager.addItem(longText, longText);
        table = manager.getTable();
    }
    EXPECT_EQ(Texts{longText + "[" + longText + "]"}, treeTexts(table));
}

}  // namespace
