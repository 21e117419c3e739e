// Writes a tree as large as the crash-time arena allows as a report. Yardstick: rapidjson writes
// the same document.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <fstream>
#include <string>

#include "benchmarks/support/Names.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "hcrpt/HCrashRptWriters.h"

namespace {

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;

// The number of leaves that fit into the arena's 50,000 bytes besides the few nodes above them.
constexpr long kFullArena = 50000 / sizeof(TableNode) - 10;

void leafCounts(benchmark::internal::Benchmark* it) {
    it->Arg(kFullArena / 100)->Arg(kFullArena / 10)->Arg(kFullArena);
    it->Unit(benchmark::kMicrosecond)->UseRealTime();
}

std::string frame(std::size_t i) {
    const std::vector<std::string>& names = bench::realNames();
    return "libzeb_mesh.so(" + names[i % names.size()] + "+0x1a)[0x7f3a2c1d4e5f]";
}

// Leaves come from the arena, which frees no block, so a process has one tree; smaller trees use
// its first leaves.
const std::vector<TableNode*>& leaves() {
    static const std::vector<TableNode*> all = [] {
        Manager manager;
        std::vector<TableNode*> list;
        for (long i = 0; i < kFullArena; ++i)
            manager.addItem(list, frame(static_cast<std::size_t>(i)));
        bench::require(list.size() == static_cast<std::size_t>(kFullArena), "a full arena");
        return list;
    }();
    return all;
}

void treeToJson(benchmark::State& state) {
    const bench::Session session;
    static Manager manager;
    static const std::vector<TableNode*> once = [] {
        manager.addItem("stacktrace", leaves());
        return leaves();
    }();
    std::vector<TableNode*> part(leaves().begin(), leaves().begin() + state.range(0));
    manager.getTable().front()->setTreeTable(part);
    std::string path;
    for (auto _ : state)
        path = HCrashRptJsonWriter::writeJsonRpt(session.directory.path(), manager);
    bench::require(bench::readFile(path).find("libzeb_mesh.so") != std::string::npos, "a report");
}
BENCHMARK(treeToJson)->Apply(leafCounts);

void rapidjsonAlone(benchmark::State& state) {
    const bench::Session session;
    std::vector<std::string> texts;
    for (long i = 0; i < state.range(0); ++i) texts.push_back(frame(static_cast<std::size_t>(i)));
    for (auto _ : state) {
        rapidjson::Document document(rapidjson::kObjectType);
        auto& allocator = document.GetAllocator();
        rapidjson::Value list(rapidjson::kArrayType);
        for (const std::string& text : texts)
            list.PushBack(rapidjson::Value(text.c_str(), allocator), allocator);
        document.AddMember(rapidjson::Value("stacktrace", allocator), list, allocator);
        std::ofstream file(session.directory.path() + "/alone.json");
        rapidjson::BasicOStreamWrapper<std::ofstream> wrapper(file);
        rapidjson::PrettyWriter<rapidjson::BasicOStreamWrapper<std::ofstream>> writer(wrapper);
        writer.SetIndent(' ', 2);
        document.Accept(writer);
        file.close();
        bench::require(!file.fail(), "a file");
    }
}
BENCHMARK(rapidjsonAlone)->Apply(leafCounts);

}  // namespace
