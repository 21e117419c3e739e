#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <thread>
#include <vector>

#include "hcrpt/HCrashReporter.h"

using HCrashReporter::registerThisThread;

namespace {

stack_t currentStack() {
    stack_t stack = {};
    EXPECT_EQ(0, sigaltstack(nullptr, &stack));
    return stack;
}

bool isMapped(void* address) {
    unsigned char resident = 0;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    void* const start =
        reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(address) / page * page);
    return mincore(start, 1, &resident) == 0;
}

bool isReadable(const void* address) {
    int ends[2];
    EXPECT_EQ(0, pipe(ends));
    const bool readable = write(ends[1], address, 1) == 1;
    close(ends[0]);
    close(ends[1]);
    return readable;
}

template <typename Body>
void onThread(Body body) {
    std::thread(body).join();
}

/// Returns true when a thread that brings an alternate stack of this size has it still after
/// registration.
bool keepsOwnStackOf(std::size_t size) {
    bool kept = false;
    std::vector<char> own(size);
    onThread([&] {
        stack_t stack = {};
        stack.ss_sp = own.data();
        stack.ss_size = own.size();
        EXPECT_EQ(0, sigaltstack(&stack, nullptr));
        EXPECT_TRUE(registerThisThread());
        kept = currentStack().ss_sp == own.data();
    });
    return kept;
}

TEST(ThreadStackTest, GivesTheThreadAStackWithRoomBesidesTheKernelsPart) {
    onThread([] {
        ASSERT_NE(0, currentStack().ss_flags & SS_DISABLE);
        EXPECT_TRUE(registerThisThread());
        const stack_t stack = currentStack();
        EXPECT_EQ(0, stack.ss_flags & SS_DISABLE);
        EXPECT_GE(stack.ss_size, getauxval(AT_MINSIGSTKSZ) + 16 * 1024);
        auto* const low = static_cast<char*>(stack.ss_sp);
        low[0] = low[stack.ss_size - 1] = 1;  // all of it is there
    });
}

TEST(ThreadStackTest, AnOverrunOfTheStackMeetsAGuardPage) {
    onThread([] {
        registerThisThread();
        auto* const low = static_cast<char*>(currentStack().ss_sp);
        EXPECT_TRUE(isReadable(low));
        EXPECT_TRUE(isMapped(low - 1)) << "anything might be mapped there later";
        EXPECT_FALSE(isReadable(low - 1));
    });
}

TEST(ThreadStackTest, EachThreadHasItsOwn) {
    registerThisThread();
    void* const mine = currentStack().ss_sp;
    onThread([mine] {
        registerThisThread();
        EXPECT_NE(mine, currentStack().ss_sp);
    });
}

TEST(ThreadStackTest, ASecondCallChangesNothing) {
    onThread([] {
        registerThisThread();
        const stack_t first = currentStack();
        EXPECT_TRUE(registerThisThread());
        EXPECT_EQ(first.ss_sp, currentStack().ss_sp);
        EXPECT_EQ(first.ss_size, currentStack().ss_size);
    });
}

TEST(ThreadStackTest, ALargerStackOfTheHostsIsLeftAlone) {
    EXPECT_TRUE(keepsOwnStackOf(256 * 1024));
}

TEST(ThreadStackTest, ASmallerStackOfTheHostsIsReplaced) {
    EXPECT_FALSE(keepsOwnStackOf(8192));
}

// --- The end of the thread ----------------------------------------------------------------------

TEST(ThreadStackTest, TheStackIsReleasedWhenTheThreadEnds) {
    void* low = nullptr;
    onThread([&] {
        registerThisThread();
        low = currentStack().ss_sp;
        EXPECT_TRUE(isMapped(low));
    });
    EXPECT_FALSE(isMapped(low));
}

stack_t s_atEnd;

// Runs a body on a thread and notes which alternate stack it has once the library's is released.
template <typename Body>
stack_t stackAfterRelease(Body body) {
    pthread_key_t key;
    EXPECT_EQ(0, pthread_key_create(&key, [](void*) { sigaltstack(nullptr, &s_atEnd); }));
    onThread([&] {
        pthread_setspecific(key, &s_atEnd);
        body();
    });
    pthread_key_delete(key);
    return s_atEnd;
}

TEST(ThreadStackTest, AThreadThatEndsHasNoStackThatIsGone) {
    const stack_t end = stackAfterRelease([] { registerThisThread(); });
    EXPECT_NE(0, end.ss_flags & SS_DISABLE);
}

TEST(ThreadStackTest, AStackThatTheHostHasGivenSinceStays) {
    std::vector<char> own(256 * 1024);
    const stack_t end = stackAfterRelease([&] {
        registerThisThread();
        stack_t stack = {};
        stack.ss_sp = own.data();
        stack.ss_size = own.size();
        ASSERT_EQ(0, sigaltstack(&stack, nullptr));
    });
    EXPECT_EQ(own.data(), end.ss_sp);
    EXPECT_EQ(0, end.ss_flags & SS_DISABLE);
}

}  // namespace
