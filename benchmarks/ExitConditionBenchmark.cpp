// Tests if a registered process still runs. Yardstick: the minimum, reading the file and one
// existence test for each record.
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "HUTEnv.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashReporter.h"

namespace {

constexpr long kBeyondAllProcessIds = 1L << 23;  // the kernel gives ids below 2^22

void recordCounts(benchmark::internal::Benchmark* it) {
    it->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void registerEnded(long count) {
    std::string records;
    for (long i = 0; i < count; ++i)
        records += HUTEnv::getHostName() + ":" + std::to_string(kBeyondAllProcessIds + i) + "\n";
    bench::writeFile(HCrashRptSettings::getProcRegFileFullPath(), records);
}

void exitCondition(benchmark::State& state) {
    const bench::Session session;
    registerEnded(state.range(0));
    for (auto _ : state)
        bench::require(HCrashReporter::isExitCondition(), "that all processes have ended");
}
BENCHMARK(exitCondition)->Apply(recordCounts);

void readingAndExistenceTests(benchmark::State& state) {
    const bench::Session session;
    registerEnded(state.range(0));
    const std::string path = HCrashRptSettings::getProcRegFileFullPath();
    for (auto _ : state) {
        std::ifstream file(path);
        std::string record;
        while (file >> record) {
            struct stat status = {};
            const std::string process = "/proc/" + record.substr(record.find(':') + 1);
            bench::require(stat(process.c_str(), &status) != 0, "that the process has ended");
        }
    }
}
BENCHMARK(readingAndExistenceTests)->Apply(recordCounts);

}  // namespace
