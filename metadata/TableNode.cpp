#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/NodeMemory.h"

namespace HCrashRptMetaData {

TableNode::TableNode() = default;

TableNode::TableNode(const std::string& text) : key(text) {}

// A null child is kept: it tells "a value that found no room" from "no value" (a leaf).
TableNode::TableNode(const std::string& name, const std::string& value)
    : key(name), treeTable{hcrpt::newNode(value)} {}

TableNode::TableNode(const std::string& name, const std::vector<TableNode*>& children)
    : key(name), treeTable(children) {}

// The children belong to the arena, and other nodes may share them.
TableNode::~TableNode() = default;

std::string TableNode::getKey() const {
    return key;
}

const std::vector<TableNode*>& TableNode::getTreeTable() const {
    return treeTable;
}

void TableNode::setTreeTable(const std::vector<TableNode*>& children) {
    treeTable = children;
}

}  // namespace HCrashRptMetaData
