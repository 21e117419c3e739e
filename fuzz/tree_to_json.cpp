// Any tree gives a JSON text that can be parsed and equals the tree, even when the arena is
// exhausted.
#include <fuzzer/FuzzedDataProvider.h>
#include <rapidjson/document.h>

#include <cstring>

#include "fuzz/support/FreeableArena.h"
#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptWriters.h"
#include "support/ScopedFakePlatform.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;
using Nodes = std::vector<TableNode*>;

namespace {

constexpr std::size_t kMaxText = 40;
constexpr int kMaxChildren = 5;
constexpr int kDeepest = 60;

Nodes randomNodes(Manager& manager, FuzzedDataProvider& input, int depth) {
    Nodes nodes;
    const int count = input.ConsumeIntegralInRange(0, kMaxChildren);
    for (int i = 0; i < count; ++i) {
        const std::string key = input.ConsumeRandomLengthString(kMaxText);
        const int shape = input.ConsumeIntegralInRange(0, 3);
        if (shape == 0) manager.addItem(nodes, key);
        if (shape == 1) manager.addItem(nodes, key, input.ConsumeRandomLengthString(kMaxText));
        if (shape >= 2 && depth < kDeepest)
            manager.addItem(nodes, key, randomNodes(manager, input, depth + 1));
        if (shape == 3 && input.ConsumeProbability<float>() < 0.1F) nodes.push_back(nullptr);
    }
    return nodes;
}

bool isText(const rapidjson::Value& value, const std::string& text) {
    return value.IsString() &&
           std::string(value.GetString(), value.GetStringLength()) == text.c_str();
}

/// Returns true when the value equals the children. A text ends at its first NUL; a null child is
/// one for which the arena had no memory.
bool isEqual(const rapidjson::Value& value, const Nodes& children) {
    if (children.empty() || (children.size() == 1 && children.front() == nullptr))
        return isText(value, "");
    if (children.size() == 1 && children.front()->getTreeTable().empty())
        return isText(value, children.front()->getKey());
    if (!value.IsArray()) return false;
    rapidjson::SizeType next = 0;
    for (const TableNode* child : children) {
        if (child == nullptr) continue;
        if (next == value.Size()) return false;
        const rapidjson::Value& element = value[next++];
        if (child->getTreeTable().empty()) {
            if (!isText(element, child->getKey())) return false;
        } else {
            if (!element.IsObject() || element.MemberCount() != 1) return false;
            const auto& member = *element.MemberBegin();
            if (!isText(member.name, child->getKey()) ||
                !isEqual(member.value, child->getTreeTable()))
                return false;
        }
    }
    return next == value.Size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static test_support::ScopedFakePlatform platform;
    FuzzedDataProvider input(data, size);
    const bool exhausts = input.ConsumeBool();
    const fuzz::FreeableArena arena(exhausts ? input.ConsumeIntegralInRange<std::size_t>(0, 100)
                                             : static_cast<std::size_t>(-1));
    Manager manager;
    for (int i = input.ConsumeIntegralInRange(0, kMaxChildren); i > 0; --i) {
        const std::string key = input.ConsumeRandomLengthString(kMaxText);
        if (input.ConsumeBool())
            manager.addItem(key, input.ConsumeRandomLengthString(kMaxText));
        else
            manager.addItem(key, randomNodes(manager, input, 1));
    }

    const std::string path = HCrashRptJsonWriter::writeJsonRpt(fuzz::directory(), manager);
    FUZZ_REQUIRE(!path.empty());
    const std::string text = fuzz::readFile(path);
    FUZZ_REQUIRE(!text.empty() && text.front() == '{' && text.back() == '}');
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    FUZZ_REQUIRE(!document.HasParseError() && document.IsObject());

    FUZZ_REQUIRE(document.MemberCount() == manager.getTable().size());
    auto member = document.MemberBegin();
    for (const TableNode* node : manager.getTable()) {
        FUZZ_REQUIRE(isText(member->name, node->getKey()));
        FUZZ_REQUIRE(isEqual(member->value, node->getTreeTable()));
        ++member;
    }
    return 0;
}
