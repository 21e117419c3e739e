#include "capture/HeapProbe.h"

#include <cstddef>
#include <cstdlib>

#include "base/BoundedChild.h"

namespace hcrpt {
namespace {

// As the report takes them: texts, table nodes, buffers of streams. Beyond the smallest the C
// library keeps none ready for a thread, so its lock is needed.
constexpr std::size_t kSizes[] = {24, 600, 2000, 9000};

void takeMemory(void*) noexcept {
    void* volatile blocks[sizeof kSizes / sizeof *kSizes];
    for (std::size_t i = 0; i < sizeof kSizes / sizeof *kSizes; ++i)
        blocks[i] = std::malloc(kSizes[i]);
    for (void* volatile& block : blocks) std::free(block);
}

}  // namespace

bool heapIsUsable() {
    static bool s_hasFailed = false;
    if (!s_hasFailed) s_hasFailed = !runInSharedChild(&takeMemory, nullptr);
    return !s_hasFailed;
}

}  // namespace hcrpt
