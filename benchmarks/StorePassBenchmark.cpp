// A pass over a crash store without work.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>

#include "benchmarks/support/Names.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashReportMgr.h"

namespace {

constexpr std::size_t kLinesOfATrace = 60;

void fileCounts(benchmark::internal::Benchmark* it) {
    it->Arg(50)->Arg(500)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void traceCounts(benchmark::internal::Benchmark* it) {
    it->Arg(5)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void fillStore(const bench::Session& session, long files) {
    for (long i = 0; i < files; ++i)
        bench::writeFile(session.store + "/hs_err_pid" + std::to_string(i) + ".log", "");
}

std::string tracePath(const bench::Session& session, long i) {
    return session.store + "/hs_mangled_err_pid" + std::to_string(i) + ".log";
}

void fillWithTraces(const bench::Session& session, long traces) {
    const std::string trace = bench::rawTrace(kLinesOfATrace);
    for (long i = 0; i < traces; ++i) bench::writeFile(tracePath(session, i), trace);
}

void passWithoutReports(benchmark::State& state) {
    const bench::Session session;
    fillStore(session, state.range(0));
    for (auto _ : state)
        bench::require(HCrashReportMgr::probeAndGetCrashReports().empty(), "no reports");
}
BENCHMARK(passWithoutReports)->Apply(fileCounts);

void oneListing(benchmark::State& state) {
    const bench::Session session;
    fillStore(session, state.range(0));
    for (auto _ : state) {
        DIR* const directory = opendir(session.store.c_str());
        long entries = 0;
        while (readdir(directory) != nullptr) ++entries;
        closedir(directory);
        bench::require(entries == state.range(0) + 2, "all entries");
    }
}
BENCHMARK(oneListing)->Apply(fileCounts);

// One store for each number of traces, filled once, because the traces must reach a certain age.
const bench::Session& oldTraces(long traces) {
    static std::map<long, std::unique_ptr<bench::Session>> sessions;
    std::unique_ptr<bench::Session>& session = sessions[traces];
    if (session == nullptr) {
        session = std::make_unique<bench::Session>();
        fillWithTraces(*session, traces);
        // A pass reads traces again that were written a moment ago, whatever their times are.
        sleep(3);
    }
    session->enter();
    return *session;
}

void passOverConvertedTraces(benchmark::State& state) {
    oldTraces(state.range(0));
    HCrashReportMgr::probeAndGetCrashReports();
    for (auto _ : state)
        bench::require(HCrashReportMgr::probeAndGetCrashReports().empty(), "no reports");
}
BENCHMARK(passOverConvertedTraces)->Apply(traceCounts);

void readingTraces(benchmark::State& state) {
    const bench::Session& session = oldTraces(state.range(0));
    char piece[8192];
    for (auto _ : state) {
        for (long i = 0; i < state.range(0); ++i) {
            const int fd = open(tracePath(session, i).c_str(), O_RDONLY | O_CLOEXEC);
            while (read(fd, piece, sizeof piece) > 0) {
            }
            close(fd);
        }
    }
}
BENCHMARK(readingTraces)->Apply(traceCounts);

}  // namespace
