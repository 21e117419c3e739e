// One pass of the crash reporter over the reports of the session in the environment. Prints its
// nanoseconds.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "hcrpt/HCrashReporter.h"

namespace {

std::int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{1000000000} * time.tv_sec + time.tv_nsec;
}

}  // namespace

int main() {
    const std::int64_t start = now();
    const bool ok = HCrashReporter::probeAndSendCrashReports();
    std::fprintf(stderr, "%lld\n", static_cast<long long>(now() - start));
    return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
