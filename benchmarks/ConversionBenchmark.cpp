// Demangles a raw trace with real names. Yardsticks: the C++ library's demangler alone, and
// c++filt.
#include <benchmark/benchmark.h>
#include <cxxabi.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "benchmarks/support/Names.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashReportMgr.h"

namespace {

void lineCounts(benchmark::internal::Benchmark* it) {
    it->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void conversion(benchmark::State& state) {
    const bench::Session session;
    const std::string raw = session.store + "/hs_mangled_err_pid4711.log";
    bench::writeFile(raw, bench::rawTrace(static_cast<std::size_t>(state.range(0))));
    HCrashReportMgr::MangledStackTraceHandler handler;
    std::string readable;
    for (auto _ : state) readable = handler.demangleBTFile(raw);
    bench::require(bench::readFile(readable).find("std::") != std::string::npos, "demangled names");
}
BENCHMARK(conversion)->Apply(lineCounts);

// The yardstick: demangles names in memory and does nothing else.
void demanglerAlone(benchmark::State& state) {
    const std::vector<std::string>& names = bench::realNames();
    const auto lines = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        for (std::size_t i = 0; i < lines; ++i) {
            int status = 0;
            char* const readable =
                abi::__cxa_demangle(names[i % names.size()].c_str(), nullptr, nullptr, &status);
            benchmark::DoNotOptimize(readable);
            std::free(readable);
        }
    }
}
BENCHMARK(demanglerAlone)->Apply(lineCounts);

void cxxfilt(benchmark::State& state) {
    const bench::Session session;
    const std::string raw = session.directory.path() + "/raw.log";
    bench::writeFile(raw, bench::rawTrace(static_cast<std::size_t>(state.range(0))));
    const std::string command =
        "c++filt < " + raw + " > " + session.directory.path() + "/readable.log";
    for (auto _ : state) bench::require(std::system(command.c_str()) == 0, "c++filt");
}
BENCHMARK(cxxfilt)->Apply(lineCounts);

}  // namespace
