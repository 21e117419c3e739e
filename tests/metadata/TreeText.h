/// @file
/// Trees as texts, for comparison.
#pragma once

#include <string>
#include <vector>

#include "hcrpt/HCrashRptMetaData.h"

using Texts = std::vector<std::string>;

/// "key" for a leaf, "key[child, child]" for any other node, "(null)" for none.
inline std::string treeText(const HCrashRptMetaData::TableNode* node) {
    if (node == nullptr) return "(null)";
    std::string text = node->getKey();
    const auto& children = node->getTreeTable();
    if (children.empty()) return text;
    for (std::size_t i = 0; i < children.size(); ++i)
        text += (i == 0 ? "[" : ", ") + treeText(children[i]);
    return text + "]";
}

inline Texts treeTexts(const std::vector<HCrashRptMetaData::TableNode*>& nodes) {
    Texts texts;
    for (const auto* node : nodes) texts.push_back(treeText(node));
    return texts;
}

inline Texts keysOf(const std::vector<HCrashRptMetaData::TableNode*>& nodes) {
    Texts keys;
    for (const auto* node : nodes) keys.push_back(node->getKey());
    return keys;
}
