// How deep a crashing process goes into its stacks. crash_host paints them beforehand.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "capture/CrashHost.h"
#include "support/ChildProcess.h"

using namespace test_support;

namespace {

constexpr std::size_t kAlternateStackSize = 8192;
constexpr std::size_t kSpare = 512;  // bytes to be left for a C library that needs a little more

/// What the kernel takes of the alternate stack for a signal, on a processor with AVX-512: the
/// largest state that a processor of this kind saves without AMX, which a process must ask for.
constexpr std::size_t kKernelsLargestFrame = 3632;

void doNothing(int) {}

/// Bytes that the kernel puts on an alternate stack before a handler's first instruction, in a
/// process that uses what the hosts here use. AT_MINSIGSTKSZ also counts processor state that a
/// process must ask for first (AMX), and is several times larger where the processor has it.
std::size_t kernelsFrame() {
    constexpr unsigned char kPaint = 0xa5;
    std::vector<unsigned char> memory(64 * 1024, kPaint);
    std::thread([&memory] {
        stack_t stack = {};
        stack.ss_sp = memory.data();
        stack.ss_size = memory.size();
        ASSERT_EQ(0, sigaltstack(&stack, nullptr));
        struct sigaction action = {};
        struct sigaction former = {};
        action.sa_handler = doNothing;
        action.sa_flags = SA_ONSTACK;
        ASSERT_EQ(0, sigaction(SIGUSR1, &action, &former));
        raise(SIGUSR1);
        ASSERT_EQ(0, sigaction(SIGUSR1, &former, nullptr));
        stack.ss_flags = SS_DISABLE;
        ASSERT_EQ(0, sigaltstack(&stack, nullptr));
    }).join();
    const auto isWritten = [](unsigned char byte) { return byte != kPaint; };
    return static_cast<std::size_t>(memory.end() -
                                    std::find_if(memory.begin(), memory.end(), isWritten));
}

struct Scene {
    const char* name;
    const char* way;
    const char* shellScript;
    const char* session;  // null: a working one
};

void PrintTo(const Scene& scene, std::ostream* out) {
    *out << scene.name;
}

class StackUseTest : public testing::TestWithParam<Scene> {};

TEST_P(StackUseTest, LeavesRoomForALargerProcessorState) {
#ifdef HCRPT_SANITIZE
    GTEST_SKIP() << "a sanitizer's frames are several times larger";
#endif
    CrashHost host;
    host.watchStacks();
    if (GetParam().session != nullptr) host.options.set["ZEB_SESSION_INFO"] = GetParam().session;
    ChildProcess child = host.start({GetParam().way}, GetParam().shellScript);
    host.answerUntilTheEnd(child);
    // The page beneath the alternate stack cannot be touched: a deeper use would kill by signal.
    ASSERT_EQ(exitedWith(139), child.wait());

    const std::size_t kernels = kernelsFrame();
    ASSERT_GT(kernels, 0U) << "the measurement met no signal";
    const std::size_t used = host.usedOfAlternateStack();
    ASSERT_GT(used, kernels) << "the crash handler did not run on the watched stack";
    EXPECT_LE(used - kernels + kKernelsLargestFrame + kSpare, kAlternateStackSize)
        << "used " << used << " bytes, of which the kernel " << kernels;
    RecordProperty("altstack_used", static_cast<int>(used));
    RecordProperty("altstack_kernel", static_cast<int>(kernels));

    const std::size_t usedOfCrashStack = host.usedOfCrashStack();
    EXPECT_GT(usedOfCrashStack, 0U) << "the heavy steps did not run on the watched stack";
    EXPECT_LE(usedOfCrashStack, host.sizeOfCrashStack() / 2);
    RecordProperty("crashstack_used", static_cast<int>(usedOfCrashStack));
}

constexpr char kRawTraceCannotBeMade[] = "mkdir \"hs_mangled_err_pid$$.log\"";
constexpr char kNoStore[] = "/dev/null:session";

INSTANTIATE_TEST_SUITE_P(
    Table, StackUseTest,
    testing::Values(Scene{"NullWrite", "null-write", "", nullptr},
                    Scene{"Recursion", "recursion", "", nullptr},
                    Scene{"Deep", "deep", "", nullptr},
                    // The walk ends in a fault, whose signal is delivered to the child alone.
                    Scene{"SmashedStack", "smashed-stack", "", nullptr},
                    Scene{"NullCall", "null-call", "", nullptr},
                    Scene{"StaticDestruction", "static-destruction", "", nullptr},
                    Scene{"NoRawTrace", "null-write", kRawTraceCannotBeMade, nullptr},
                    Scene{"NoStore", "null-write", "", kNoStore},
                    Scene{"NeitherRawTraceNorStore", "null-write", kRawTraceCannotBeMade,
                          kNoStore}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
