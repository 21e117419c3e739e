#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "hcrpt/HCrashReporter.h"

namespace HCrashReporter {
namespace {

// What the crash handler needs beside the kernel's own part, which grows with the processor's
// vector state.
constexpr std::size_t kOwnPart = 16 * std::size_t{1024};  // bytes

std::size_t pageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t stackSize() {
    const std::size_t page = pageSize();
    const std::size_t wanted = kOwnPart + std::max<std::size_t>(getauxval(AT_MINSIGSTKSZ), 2048);
    return (wanted + page - 1) / page * page;
}

/// The alternate stack of one thread, with a page beneath it that nothing may touch.
class ThreadStack {
  public:
    ~ThreadStack() {
        if (m_base == nullptr) return;
        stack_t current = {};
        // The thread may have been given another one since.
        if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == m_stack) {
            current.ss_flags = SS_DISABLE;
            sigaltstack(&current, nullptr);
        }
        munmap(m_base, pageSize() + m_size);
    }

    bool install() {
        const std::size_t size = stackSize();
        stack_t current = {};
        if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0 &&
            current.ss_size >= size)
            return true;
        if (m_base == nullptr && !reserve(size)) return false;
        stack_t stack = {};
        stack.ss_sp = m_stack;
        stack.ss_size = m_size;
        return sigaltstack(&stack, nullptr) == 0;
    }

  private:
    bool reserve(std::size_t size) {
        void* const base = mmap(nullptr, pageSize() + size, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (base == MAP_FAILED) return false;
        mprotect(base, pageSize(), PROT_NONE);
        m_base = base;
        m_stack = static_cast<char*>(base) + pageSize();
        m_size = size;
        return true;
    }

    void* m_base = nullptr;
    void* m_stack = nullptr;
    std::size_t m_size = 0;
};

}  // namespace

bool registerThisThread() {
    thread_local ThreadStack stack;
    return stack.install();
}

}  // namespace HCrashReporter
