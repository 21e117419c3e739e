#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "TreeText.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "support/CrashArena.h"

using HCrashRptMetaData::TableNode;

namespace {

const char* arenaEnd() {
    return static_cast<char*>(HCrptResourceMgr::get()->allocateMem(0));
}

TEST(TableNodeTest, DefaultNodeIsEmpty) {
    const TableNode node;
    EXPECT_EQ("", node.getKey());
    EXPECT_TRUE(node.getTreeTable().empty());
}

TEST(TableNodeTest, NodeTakesRoomForItsTextAndItsChildrenOnly) {
    EXPECT_FALSE(std::is_polymorphic_v<TableNode>);
    EXPECT_EQ(sizeof(std::string) + sizeof(std::vector<TableNode*>), sizeof(TableNode));
}

TEST(TableNodeTest, KeyAloneMakesALeaf) {
    const TableNode node(std::string("key"));
    EXPECT_EQ("key", node.getKey());
    EXPECT_TRUE(node.getTreeTable().empty());
}

TEST(TableNodeTest, ATextMayStandWhereANodeIsAskedFor) {
    const TableNode node = std::string("key");
    EXPECT_EQ("key", node.getKey());
}

TEST(TableNodeTest, KeyAndValueMakeAPair) {
    const TableNode node("key", std::string("value"));
    EXPECT_EQ("key", node.getKey());
    ASSERT_EQ(1u, node.getTreeTable().size());
    EXPECT_EQ("value", node.getTreeTable()[0]->getKey());
    EXPECT_TRUE(node.getTreeTable()[0]->getTreeTable().empty());
}

TEST(TableNodeTest, EmptyValueStillMakesAPairWithAnEmptyLeaf) {
    const TableNode node("key", std::string());
    ASSERT_EQ(1u, node.getTreeTable().size());
    ASSERT_NE(nullptr, node.getTreeTable()[0]);
    EXPECT_EQ("", node.getTreeTable()[0]->getKey());
    EXPECT_TRUE(node.getTreeTable()[0]->getTreeTable().empty());
}

TEST(TableNodeTest, ValueLeafTakesOneBlockOfTheArena) {
    const char* before = arenaEnd();
    const TableNode node("key", std::string("value"));
    EXPECT_EQ(before, reinterpret_cast<const char*>(node.getTreeTable()[0]));
    EXPECT_EQ(before + sizeof(TableNode), arenaEnd());
}

TEST(TableNodeTest, LeafAndTableTakeNothingFromTheArena) {
    const char* before = arenaEnd();
    TableNode leaf(std::string("leaf"));
    const TableNode table("table", std::vector<TableNode*>{&leaf, &leaf});
    EXPECT_EQ(before, arenaEnd());
}

TEST(TableNodeTest, ValueWithoutRoomInTheArenaIsANullChild) {
    test_support::leaveInArena(sizeof(TableNode) - 1);
    const TableNode node("key", std::string("value"));
    EXPECT_EQ("key", node.getKey());
    ASSERT_EQ(1u, node.getTreeTable().size());
    EXPECT_EQ(nullptr, node.getTreeTable()[0]);
}

TEST(TableNodeTest, ArenaBlocksWorkAtAnyAddress) {
    HCrptResourceMgr::get()->allocateMem(1);  // what follows is not aligned
    const std::string value(100, 'v');        // long enough to lie on the heap
    const TableNode node("key", value);
    TableNode* leaf = node.getTreeTable()[0];
    EXPECT_NE(0u, reinterpret_cast<std::uintptr_t>(leaf) % alignof(TableNode));
    leaf->setTreeTable({leaf});
    EXPECT_EQ(value, leaf->getKey());
    EXPECT_EQ(1u, leaf->getTreeTable().size());
}

TEST(TableNodeTest, KeyAndChildrenKeepOrderAndPointers) {
    TableNode first(std::string("first"));
    TableNode second(std::string("second"));
    const TableNode node("key", std::vector<TableNode*>{&second, &first, nullptr});
    EXPECT_EQ("key", node.getKey());
    EXPECT_EQ((std::vector<TableNode*>{&second, &first, nullptr}), node.getTreeTable());
}

TEST(TableNodeTest, SetTreeTableReplacesTheChildren) {
    TableNode child(std::string("new"));
    TableNode node("key", std::string("old"));
    node.setTreeTable({&child});
    EXPECT_EQ("key[new]", treeText(&node));
    node.setTreeTable({});
    EXPECT_EQ("key", treeText(&node));
}

TEST(TableNodeTest, SetTreeTableToItsOwnChildrenChangesNothing) {
    TableNode first(std::string("first"));
    TableNode second(std::string("second"));
    TableNode node("key", std::vector<TableNode*>{&first, &second});
    node.setTreeTable(node.getTreeTable());
    EXPECT_EQ((std::vector<TableNode*>{&first, &second}), node.getTreeTable());
}

TEST(TableNodeTest, ChildChangedUnderOneParentIsSeenUnderTheOther) {
    const TableNode one("one", std::string("before"));
    TableNode two(std::string("two"));
    two.setTreeTable(one.getTreeTable());
    *two.getTreeTable()[0] = TableNode(std::string("after"));
    EXPECT_EQ("one[after]", treeText(&one));
    EXPECT_EQ("two[after]", treeText(&two));
}

TEST(TableNodeTest, ListsAreCopiedSoThatLaterChangesOfTheSourceDoNotShow) {
    TableNode child(std::string("child"));
    std::vector<TableNode*> list{&child};
    const TableNode made("made", list);
    TableNode set;
    set.setTreeTable(list);
    list.clear();
    EXPECT_EQ(1u, made.getTreeTable().size());
    EXPECT_EQ(1u, set.getTreeTable().size());
}

TEST(TableNodeTest, ChildrenOutliveTheirParent) {
    const std::string longText(100, 'v');  // on the heap, where a released text does not last
    std::vector<TableNode*> children;
    {
        const TableNode node("key", longText);
        children = node.getTreeTable();
    }
    EXPECT_EQ(longText, children[0]->getKey());
}

TEST(TableNodeTest, GetKeyIsACopy) {
    const TableNode node(std::string("key"));
    std::string key = node.getKey();
    key[0] = 'x';
    EXPECT_EQ("key", node.getKey());
}

}  // namespace
