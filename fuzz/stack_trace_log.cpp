// The analysis of a stack-trace log: signal number, subsystem and function of the failing frame.
#include <limits>
#include <optional>
#include <utility>

#include "fuzz/support/FreeableArena.h"
#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashRptMetaData.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;

namespace {

using Item = std::pair<std::string, std::string>;
constexpr auto npos = std::string::npos;

std::string signalNumberOf(const std::string& line) {
    const std::size_t open = line.find('(');
    const std::size_t close = line.find(')');
    const std::string from = open == npos ? line : line.substr(open + 1);
    if (close == npos || (open != npos && close < open)) return from;
    return from.substr(0, from.find(')'));
}

std::string frameOf(const std::string& line) {
    const std::size_t slash = line.rfind('/');
    return slash == npos ? line : line.substr(slash + 1);
}

std::string subsystemOf(const std::string& frame) {
    std::size_t start = frame.find("libzeb_");
    std::size_t length = 7;
    if (start == npos) {
        start = frame.find("libzeb");
        length = 6;
    }
    if (start == npos) return "";
    const std::string rest = frame.substr(start + length);
    const std::size_t end = frame.find(".so");
    return end == npos || end < start + length ? rest : rest.substr(0, end - start - length);
}

/// Returns the function's name if the frame can be the failing frame.
std::optional<std::string> functionOf(const std::string& frame) {
    const std::size_t open = frame.find('(');
    const std::string from = open == npos ? frame : frame.substr(open + 1);
    const std::size_t plus = frame.find('+');
    const bool cut = plus != npos && (open == npos || plus > open);
    const std::string name = cut ? from.substr(0, from.find('+')) : from;
    if (name.empty() || name.rfind("std::", 0) == 0) return std::nullopt;
    return name;
}

std::vector<Item> expectedItems(const std::vector<std::string>& lines) {
    std::vector<Item> items;
    std::string firstSubsystem;
    bool found = false;
    for (const std::string& line : lines) {
        if (fuzz::contains(line, "An unexpected error has occurred"))
            items.emplace_back("signalNumber", signalNumberOf(line));
        if (found || !fuzz::contains(line, "libzeb") || fuzz::contains(line, "HCrashReporter"))
            continue;
        const std::string frame = frameOf(line);
        if (firstSubsystem.empty()) firstSubsystem = subsystemOf(frame);
        const std::optional<std::string> function = functionOf(frame);
        if (!function) continue;
        found = true;
        items.emplace_back("subSystem", subsystemOf(frame));
        items.emplace_back("functionName", *function);
    }
    if (!found) {
        items.emplace_back("subSystem", firstSubsystem);
        items.emplace_back("functionName", "");
    }
    return items;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string log = fuzz::text(data, size);
    const std::string path = fuzz::directory() + "/hs_err_pid4711.log";
    fuzz::writeFile(path, log);
    const std::vector<std::string> lines = fuzz::linesOf(log);

    const fuzz::FreeableArena arena(std::numeric_limits<std::size_t>::max());
    Manager manager;
    FUZZ_REQUIRE(manager.addStackTraceToMetaDataTable(path));
    const std::vector<TableNode*>& table = manager.getTable();
    const std::vector<Item> expected = expectedItems(lines);
    FUZZ_REQUIRE(table.size() == expected.size() + 1);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        FUZZ_REQUIRE(table[i]->getKey() == expected[i].first);
        FUZZ_REQUIRE(table[i]->getTreeTable().size() == 1);
        FUZZ_REQUIRE(table[i]->getTreeTable().front()->getKey() == expected[i].second);
    }
    FUZZ_REQUIRE(table.back()->getKey() == "stacktrace");
    const std::vector<TableNode*>& trace = table.back()->getTreeTable();
    FUZZ_REQUIRE(trace.size() == lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) FUZZ_REQUIRE(trace[i]->getKey() == lines[i]);
    return 0;
}
