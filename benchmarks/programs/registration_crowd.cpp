// Starts many processes that register at the same moment. Prints how many registered, how many
// records the file has, and the longest time that a registration took, in nanoseconds.
//
//   registration_crowd PROCESSES
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "benchmarks/support/Clock.h"
#include "benchmarks/support/Session.h"
#include "hcrpt/HCrashReporter.h"

namespace {

struct Shared {
    std::atomic<int> ready;
    std::atomic<bool> go;
    std::atomic<int> registered;
    std::atomic<std::int64_t> longest;
};

void registerAndTell(Shared& shared) {
    ++shared.ready;
    while (!shared.go) usleep(100);
    const std::int64_t start = bench::now();
    if (HCrashReporter::registerThisProcess()) ++shared.registered;
    const std::int64_t taken = bench::now() - start;
    std::int64_t longest = shared.longest;
    while (taken > longest && !shared.longest.compare_exchange_weak(longest, taken)) {
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return EXIT_FAILURE;
    const int processes = std::atoi(argv[1]);
    const bench::Session session;
    const std::string file = HCrashRptSettings::getProcRegFileFullPath();
    bench::writeFile(file, "");
    auto* const shared = static_cast<Shared*>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    bench::require(shared != MAP_FAILED, "shared memory");
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            registerAndTell(*shared);
            _exit(0);
        }
        bench::require(child > 0, "a process");
        children.push_back(child);
    }
    while (shared->ready < processes) usleep(1000);
    shared->go = true;
    for (const pid_t child : children) waitpid(child, nullptr, 0);
    const std::string records = bench::readFile(file);
    std::printf("%d %ld %lld\n", shared->registered.load(),
                static_cast<long>(std::count(records.begin(), records.end(), '\n')),
                static_cast<long long>(shared->longest.load()));
    return EXIT_SUCCESS;
}
