#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/NodeMemory.h"

namespace HCrashRptMetaData {
namespace {

// An exhausted arena shortens the report but never stops the crash handler.
void appendUnlessNull(std::vector<TableNode*>& into, TableNode* node) {
    if (node != nullptr) into.push_back(node);
}

}  // namespace

Manager::Manager() = default;

Manager::~Manager() = default;

const std::vector<TableNode*>& Manager::getTable() const {
    return table;
}

void Manager::addItem(std::vector<TableNode*>& into, const std::string& key,
                      const std::string& value) {
    appendUnlessNull(into, hcrpt::newNode(key, value));
}

void Manager::addItem(std::vector<TableNode*>& into, const std::string& key) {
    appendUnlessNull(into, hcrpt::newNode(key));
}

void Manager::addItem(std::vector<TableNode*>& into, const std::string& key,
                      const std::vector<TableNode*>& children) {
    appendUnlessNull(into, hcrpt::newNode(key, children));
}

void Manager::addItem(const std::string& key, const std::string& value) {
    addItem(table, key, value);
}

void Manager::addItem(const std::string& key, const std::vector<TableNode*>& children) {
    addItem(table, key, children);
}

}  // namespace HCrashRptMetaData
