// Runs one pass of the crash reporter over the reports of the session that the environment names.
// Prints its time in nanoseconds.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "benchmarks/support/Clock.h"
#include "hcrpt/HCrashReporter.h"

int main() {
    const std::int64_t start = bench::now();
    const bool ok = HCrashReporter::probeAndSendCrashReports();
    std::fprintf(stderr, "%lld\n", static_cast<long long>(bench::now() - start));
    return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
