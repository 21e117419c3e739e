#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "capture/BadCallTarget.h"
#include "capture/RawTrace.h"
#include "support/ChildProcess.h"
#include "support/MissingSystemCall.h"

using hcrpt::BadCallTarget;
using hcrpt::findBadCallTarget;
using hcrpt::goBackToTarget;
using hcrpt::insertTarget;
using hcrpt::returnToCaller;
using namespace test_support;

namespace {

constexpr std::uintptr_t kNowhere = 0x12345678000;  // canonical, and never mapped
alignas(16) char data[16] = {};                     // no code either

enum Found { kFound = 50, kNone, kWrong };

void* expectedTarget = nullptr;

/// Registers of the thread that a signal handler has interrupted: the kernel puts its state behind
/// the handler's return address.
const greg_t* registersAbove(const void* handlersFrame) {
    const void* const state = static_cast<const char*>(handlersFrame) + 2 * sizeof(void*);
    return static_cast<const ucontext_t*>(state)->uc_mcontext.gregs;
}

void look(int) {
    const greg_t* const registers = registersAbove(__builtin_frame_address(0));
    const greg_t address = registers[REG_RIP];
    const greg_t stack = registers[REG_RSP];
    const auto isAt = [&](greg_t rip, greg_t rsp) {
        return registers[REG_RIP] == rip && registers[REG_RSP] == rsp;
    };
    BadCallTarget jump = {};
    hcrpt::Interruption interruption;
    const bool isFound = findInterruption(interruption) && findBadCallTarget(interruption, jump);
    if (!isAt(address, stack)) _exit(kWrong);
    if (!isFound) _exit(kNone);
    returnToCaller(jump);
    if (!isAt(reinterpret_cast<greg_t>(jump.returnAddress), stack + 8)) _exit(kWrong);
    goBackToTarget(jump);
    _exit(jump.target == expectedTarget && isAt(address, stack) ? kFound : kWrong);
}

void writeTrace(int) {
    const greg_t* const registers = registersAbove(__builtin_frame_address(0));
    const greg_t address = registers[REG_RIP];
    const greg_t stack = registers[REG_RSP];
    hcrpt::writeRawTrace(STDOUT_FILENO);
    _exit(registers[REG_RIP] == address && registers[REG_RSP] == stack ? kFound : kWrong);
}

/// What a handler of SIGSEGV finds when a child of this process comes to that by the body.
template <typename Body>
int found(Body body, void (*handler)(int) = &look) {
    ChildProcess child = ChildProcess::fork([&]() -> int {
        stack_t stack = {};
        static char memory[64 * 1024];
        stack.ss_sp = memory;
        stack.ss_size = sizeof memory;
        sigaltstack(&stack, nullptr);
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = SA_ONSTACK;
        sigaction(SIGSEGV, &action, nullptr);
        body();
        return 1;
    });
    const auto state = child.wait();
    EXPECT_TRUE(state.exited) << state;
    return state.status;
}

int foundAfterCallOf(const void* target) {
    return found([target] {
        expectedTarget = const_cast<void*>(target);
        void (*volatile function)() =
            reinterpret_cast<void (*)()>(reinterpret_cast<std::uintptr_t>(target));
        function();
        asm volatile("");  // keeps the call from becoming a jump
    });
}

// --- Calls --------------------------------------------------------------------------------------

TEST(BadCallTargetTest, ACallOfNullIsFound) {
    EXPECT_EQ(foundAfterCallOf(nullptr), kFound);
}

TEST(BadCallTargetTest, ACallToUnmappedMemoryIsFound) {
    EXPECT_EQ(foundAfterCallOf(reinterpret_cast<void*>(kNowhere)), kFound);
}

TEST(BadCallTargetTest, ACallOfDataIsFound) {
    EXPECT_EQ(foundAfterCallOf(data), kFound);
}

// Compilers choose them by where the pointer is: in a register, a table, an object.
TEST(BadCallTargetTest, AllFormsOfACallAreKnown) {
    static void* volatile null = nullptr;
    static void* volatile table[1000] = {};
    const long zero = 0;
    EXPECT_EQ(found([&] { asm volatile("call *%0" ::"a"(null)); }), kFound);
    EXPECT_EQ(found([&] {
                  register void* target asm("r11") = null;
                  asm volatile("call *%0" ::"r"(target));
              }),
              kFound);
    EXPECT_EQ(found([&] { asm volatile("call *(%0)" ::"a"(table)); }), kFound);
    EXPECT_EQ(found([&] { asm volatile("call *(%0,%1,8)" ::"a"(table), "c"(zero)); }), kFound);
    EXPECT_EQ(found([&] { asm volatile("call *8(%0)" ::"a"(table)); }), kFound);
    EXPECT_EQ(found([&] { asm volatile("call *8(%0,%1,8)" ::"a"(table), "c"(zero)); }), kFound);
    EXPECT_EQ(found([&] { asm volatile("call *1024(%0)" ::"a"(table)); }), kFound);
    EXPECT_EQ(found([&] { asm volatile("call *1024(%0,%1,8)" ::"a"(table), "c"(zero)); }), kFound);
    EXPECT_EQ(found([&] {
                  register void* volatile* objects asm("r12") = table;
                  asm volatile("call *1024(%0,%1,8)" ::"r"(objects), "c"(zero));
              }),
              kFound);
}

// As a stub of the procedure linkage table does.
TEST(BadCallTargetTest, AJumpFromAFunctionThatWasCalledGoesBackToItsCaller) {
    EXPECT_EQ(found([] {
                  asm volatile(
                      "call 1f\n"
                      "jmp 2f\n"
                      "1: jmp *%0\n"
                      "2:" ::"a"(nullptr));
              }),
              kFound);
}

// --- Anything else ------------------------------------------------------------------------------

TEST(BadCallTargetTest, AFaultOnDataIsNone) {
    EXPECT_EQ(found([] {
                  int volatile* volatile null = nullptr;
                  *null = 1;
              }),
              kNone);
}

// Without a frame of its own it has its return address on top of the stack.
TEST(BadCallTargetTest, AFaultOnDataInAFunctionThatWasCalledIsNone) {
    EXPECT_EQ(found([] {
                  asm volatile(
                      "call 1f\n"
                      "jmp 2f\n"
                      "1: mov (%0), %%eax\n"
                      "2:" ::"c"(nullptr)
                      : "eax");
              }),
              kNone);
}

TEST(BadCallTargetTest, AReturnToNowhereIsNone) {
    EXPECT_EQ(found([] {
                  asm volatile(
                      "push $0\n"
                      "push %0\n"
                      "ret" ::"r"(kNowhere));
              }),
              kNone);
}

TEST(BadCallTargetTest, ATopOfTheStackThatLeadsNowhereIsNone) {
    EXPECT_EQ(found([] {
                  asm volatile(
                      "push %0\n"
                      "jmp *%0" ::"r"(kNowhere));
              }),
              kNone);
}

TEST(BadCallTargetTest, AStackPointerThatLeadsNowhereIsNone) {
    EXPECT_EQ(found([] {
                  asm volatile(
                      "mov %0, %%rsp\n"
                      "jmp *%1" ::"r"(kNowhere + 4096),
                      "r"(kNowhere));
              }),
              kNone);
}

TEST(BadCallTargetTest, ASignalFromOutsideIsNone) {
    EXPECT_EQ(found([] { raise(SIGSEGV); }), kNone);
}

TEST(BadCallTargetTest, OutsideOfASignalHandlerNothingIsInterrupted) {
    hcrpt::Interruption interruption;
    EXPECT_FALSE(findInterruption(interruption));
}

TEST(BadCallTargetTest, WhereMemoryCannotBeReadSafelyItIsNotRead) {
    EXPECT_EQ(found([] {
                  if (!test_support::takeAwaySystemCall(SYS_process_vm_readv)) _exit(1);
                  void (*volatile null)() = nullptr;
                  null();
              }),
              kNone);
}

// --- The trace ----------------------------------------------------------------------------------

void* at(std::uintptr_t address) {
    return reinterpret_cast<void*>(address);
}

// A host's own handler may ask for a trace and return.
TEST(BadCallTargetTest, ATraceLeavesTheThreadsStateAsItWas) {
    hcrpt::primeRawTrace();
    const auto callNull = [] {
        void (*volatile null)() = nullptr;
        null();
    };
    EXPECT_EQ(found(callNull, &writeTrace), kFound);
}

TEST(BadCallTargetTest, TheTargetGoesBetweenTheHandlersCallerAndTheReturnAddress) {
    const BadCallTarget jump = {nullptr, nullptr, at(30), at(20)};
    std::vector<void*> frames = {at(10), at(30), at(20), at(30), at(40), at(1)};
    EXPECT_EQ(insertTarget(jump, frames.data(), 5), 6);
    EXPECT_EQ(frames, (std::vector<void*>{at(10), at(30), at(20), nullptr, at(30), at(40)}));
}

TEST(BadCallTargetTest, ATraceThatDidNotComeSoFarStaysAsItIs) {
    const BadCallTarget jump = {nullptr, nullptr, at(30), at(20)};
    std::vector<void*> frames = {at(30), at(10), at(20)};
    EXPECT_EQ(insertTarget(jump, frames.data(), 3), 3);
    EXPECT_EQ(frames, (std::vector<void*>{at(30), at(10), at(20)}));
}

}  // namespace
