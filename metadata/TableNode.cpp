#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/NodeMemory.h"

namespace HCrashRptMetaData {

TableNode::TableNode() = default;

TableNode::TableNode(const std::string& text) : key(text) {}

// A null child stays in the list: it distinguishes a value for which the arena had no room from a
// node without a value (a leaf).
TableNode::TableNode(const std::string& name, const std::string& value)
    : key(name), treeTable{hcrpt::newNode(value)} {}

TableNode::TableNode(const std::string& name, const std::vector<TableNode*>& children)
    : key(name), treeTable(children) {}

// Does not destroy the children: they lie in the arena, and other nodes may share them.
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
