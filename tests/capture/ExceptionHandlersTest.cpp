// The handler of a process is decided once: CTest runs each case in a process of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "capture/CrashScene.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/LinkSeams.h"

using namespace HCrashReporter;
using namespace test_support;

namespace {

using Base = HCrptExceptionHandlerBase;

constexpr int kFatalSignals[] = {SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGQUIT, SIGSEGV};
constexpr int kRestorer = 0x04000000;  // set by the C library in each action; of no interest

bool isSelfHandler(Base* handler) {
    return dynamic_cast<HCrptSelfLinuxExceptionHandler*>(handler) != nullptr;
}

bool isHostHandler(Base* handler) {
    return dynamic_cast<HCrptLinuxExceptionHandler*>(handler) != nullptr && !isSelfHandler(handler);
}

struct sigaction actionOf(int number) {
    struct sigaction action = {};
    EXPECT_EQ(0, sigaction(number, nullptr, &action)) << number;
    action.sa_flags &= ~kRestorer;
    return action;
}

sighandler_t handlerOf(int number) {
    return actionOf(number).sa_handler;
}

std::vector<int> maskOf(const struct sigaction& action) {
    std::vector<int> members;
    for (int number = 1; number < NSIG; ++number)
        if (sigismember(&action.sa_mask, number) == 1) members.push_back(number);
    return members;
}

stack_t alternateStack() {
    stack_t stack = {};
    EXPECT_EQ(0, sigaltstack(nullptr, &stack));
    return stack;
}

bool isFatal(int number) {
    for (const int fatal : kFatalSignals)
        if (fatal == number) return true;
    return false;
}

std::map<int, sighandler_t> allHandlers() {
    std::map<int, sighandler_t> routines;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0) routines[number] = action.sa_handler;
    }
    return routines;
}

// --- Which handler ------------------------------------------------------------------------------

TEST(ExceptionHandlersTest, TheEmptyNameMakesTheHostsHandlerForGood) {
    Base* const handler = Base::get("");
    ASSERT_TRUE(isHostHandler(handler));
    EXPECT_EQ(handler, Base::get("Self"));
    EXPECT_EQ(handler, Base::get("unknown"));
    EXPECT_EQ(handler, Base::get(""));
}

TEST(ExceptionHandlersTest, SelfMakesTheReportersHandlerForGood) {
    Base* const handler = Base::get("Self");
    ASSERT_TRUE(isSelfHandler(handler));
    EXPECT_EQ(handler, Base::get(""));
    EXPECT_EQ(handler, Base::get("Self"));
}

TEST(ExceptionHandlersTest, AnUnknownNameGivesNullAndDecidesNothing) {
    for (const char* name : {"self", "SELF", "Self ", "Host", " "})
        EXPECT_EQ(nullptr, Base::get(name)) << name;
    EXPECT_TRUE(isSelfHandler(Base::get("Self")));
}

TEST(ExceptionHandlersTest, TheManagerGivesTheSameHandler) {
    HCrptExceptionMgr* const manager = HCrptExceptionMgr::get();
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(manager, HCrptExceptionMgr::get());
    EXPECT_EQ(nullptr, manager->getHandler("unknown"));
    Base* const handler = manager->getHandler("Self");
    EXPECT_TRUE(isSelfHandler(handler));
    EXPECT_EQ(handler, Base::get(""));
}

TEST(ExceptionHandlersTest, TheHandlerLiesInTheArena) {
    const std::pair<const char*, std::size_t> rows[] = {
        {"", sizeof(HCrptLinuxExceptionHandler)}, {"Self", sizeof(HCrptSelfLinuxExceptionHandler)}};
    for (const auto& [name, size] : rows) {
        ChildProcess host = ChildProcess::fork([&, handlerName = name, handlerSize = size] {
            void* const end = HCrptResourceMgr::allocateMem(0);
            Base* const handler = Base::get(handlerName);
            if (end != dynamic_cast<void*>(handler)) return 1;
            return HCrptResourceMgr::allocateMem(0) == static_cast<char*>(end) + handlerSize ? 0
                                                                                             : 2;
        });
        EXPECT_EQ(exitedWith(0), host.wait()) << name;
    }
}

TEST(ExceptionHandlersTest, LaterRequestsTakeNothingFromTheArena) {
    Base::get("");
    void* const end = HCrptResourceMgr::allocateMem(0);
    Base::get("Self");
    HCrptExceptionMgr::get()->registerSignalHandlers();
    EXPECT_EQ(end, HCrptResourceMgr::allocateMem(0));
}

TEST(ExceptionHandlersTest, AnExhaustedArenaGivesNullAndNothingIsInstalled) {
    test_support::leaveInArena(sizeof(HCrptLinuxExceptionHandler) - 1);
    const auto before = allHandlers();
    EXPECT_EQ(nullptr, Base::get(""));
    EXPECT_EQ(nullptr, Base::get("Self"));
    HCrptExceptionMgr::get()->registerSignalHandlers();
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    EXPECT_EQ(before, allHandlers());
}

TEST(ExceptionHandlersTest, MakingAHandlerMakesTheCrashTimeResources) {
    ASSERT_EQ("", HCrptResourceMgr::getStacktraceLogPath());
    HCrptLinuxExceptionHandler handler;
    EXPECT_NE("", HCrptResourceMgr::getStacktraceLogPath());
    EXPECT_NE("", HCrptResourceMgr::getStacktraceTempFilePath());
}

TEST(ExceptionHandlersTest, WithoutACrashStackThereIsNoHandler) {
    const seams::ScopedSeam failing(seams::onMmap, [](std::size_t, int) { return MAP_FAILED; });
    EXPECT_THROW(Base::get(""), std::bad_alloc);
    EXPECT_EQ(nullptr, Base::get("unknown")) << "a handler that was half made";
}

TEST(ExceptionHandlersTest, MakingAHandlerInstallsNothing) {
    const auto before = allHandlers();
    Base::get("");
    EXPECT_EQ(before, allHandlers());
}

// --- Installation -------------------------------------------------------------------------------

TEST(ExceptionHandlersTest, ExactlyTheSixFatalSignalsGetTheRoutine) {
    const auto before = allHandlers();
    HCrptExceptionMgr::get()->registerSignalHandlers();
    for (const auto& [number, routine] : allHandlers()) {
        const auto want = isFatal(number) ? &HCrptLinuxExceptionHandler::crptDefaultLinuxHandler
                                          : before.at(number);
        EXPECT_EQ(want, routine) << "signal " << number;
    }
}

TEST(ExceptionHandlersTest, OnlySegmentationFaultsUseTheAlternateStack) {
    HCrptExceptionMgr::get()->registerSignalHandlers();
    for (const int number : kFatalSignals) {
        const struct sigaction action = actionOf(number);
        if (number == SIGSEGV) {
            EXPECT_EQ(SA_ONSTACK, action.sa_flags);
            EXPECT_EQ(std::vector<int>(), maskOf(action));
        } else {
            EXPECT_EQ(SA_RESTART, action.sa_flags) << "signal " << number;
            EXPECT_EQ(std::vector<int>{number}, maskOf(action));
        }
    }
}

TEST(ExceptionHandlersTest, SignalsAreInstalledInOrder) {
    std::vector<int> order;
    Base* const handler = Base::get("");
    const seams::ScopedSeam bySignal(seams::onSignal, [&](int number) {
        order.push_back(number);
        return std::nullopt;
    });
    const seams::ScopedSeam bySigaction(seams::onSigaction, [&](int number, bool sets) {
        if (sets) order.push_back(number);
        return std::nullopt;
    });
    EXPECT_TRUE(handler->install());
    EXPECT_EQ((std::vector<int>{SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGQUIT, SIGSEGV}), order);
}

TEST(ExceptionHandlersTest, ErrorsOfTheOtherFiveSignalsAreIgnored) {
    Base* const handler = Base::get("");
    const seams::ScopedSeam failing(seams::onSignal, [](int) { return SIG_ERR; });
    EXPECT_TRUE(handler->install());
    EXPECT_EQ(&HCrptLinuxExceptionHandler::crptDefaultLinuxHandler, handlerOf(SIGSEGV));
}

struct sigaction formerAction(int flags) {
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGUSR1);
    sigaddset(&action.sa_mask, SIGWINCH);
    return action;
}

TEST(ExceptionHandlersTest, TheFormerMaskAndFlagsOfSegmentationFaultsStay) {
    const struct sigaction former = formerAction(SA_NODEFER | SA_RESTART);
    ASSERT_EQ(0, sigaction(SIGSEGV, &former, nullptr));
    HCrptExceptionMgr::get()->registerSignalHandlers();
    const struct sigaction action = actionOf(SIGSEGV);
    EXPECT_EQ(&HCrptLinuxExceptionHandler::crptDefaultLinuxHandler, action.sa_handler);
    EXPECT_EQ(SA_NODEFER | SA_RESTART | SA_ONSTACK, action.sa_flags);
    EXPECT_EQ((std::vector<int>{SIGUSR1, SIGWINCH}), maskOf(action));
}

TEST(ExceptionHandlersTest, FlagsThatDoNotSuitTheRoutineAreCleared) {
    const struct sigaction former = formerAction(static_cast<int>(SA_SIGINFO | SA_RESETHAND));
    ASSERT_EQ(0, sigaction(SIGSEGV, &former, nullptr));
    HCrptExceptionMgr::get()->registerSignalHandlers();
    EXPECT_EQ(SA_ONSTACK, actionOf(SIGSEGV).sa_flags);
}

TEST(ExceptionHandlersTest, TheAlternateStackHasExactly8192Bytes) {
    ASSERT_EQ(SS_DISABLE, alternateStack().ss_flags);
    HCrptExceptionMgr::get()->registerSignalHandlers();
    EXPECT_EQ(0, alternateStack().ss_flags);
    EXPECT_EQ(8192U, alternateStack().ss_size);
    EXPECT_NE(nullptr, alternateStack().ss_sp);
}

TEST(ExceptionHandlersTest, TheAlternateStackIsTheCallingThreads) {
    HCrptExceptionMgr::get()->registerSignalHandlers();
    int flagsOfAnother = 0;
    std::thread([&] { flagsOfAnother = alternateStack().ss_flags; }).join();
    EXPECT_EQ(SS_DISABLE, flagsOfAnother);
}

TEST(ExceptionHandlersTest, EachInstallationAllocatesAFurtherAlternateStack) {
    HCrptExceptionMgr* const manager = HCrptExceptionMgr::get();
    manager->registerSignalHandlers();
    void* const first = alternateStack().ss_sp;
    manager->registerSignalHandlers();
    void* const second = alternateStack().ss_sp;
    EXPECT_NE(first, second);
    manager->registerSelfSignalHandlers();
    EXPECT_NE(first, alternateStack().ss_sp);
    EXPECT_NE(second, alternateStack().ss_sp);
}

// --- Failing installation -----------------------------------------------------------------------

HCrptLinuxExceptionHandler* s_handler = nullptr;
int s_resultOnAlternateStack = -1;

TEST(ExceptionHandlersTest, ItFailsWhereTheAlternateStackCannotBeChanged) {
    HCrptLinuxExceptionHandler handler;
    s_handler = &handler;
    static char memory[64 * 1024];
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = sizeof memory;
    ASSERT_EQ(0, sigaltstack(&stack, nullptr));
    struct sigaction action = {};
    action.sa_flags = SA_ONSTACK;
    // A thread may not change the alternate stack that it runs on.
    action.sa_handler = [](int) { s_resultOnAlternateStack = s_handler->install() ? 1 : 0; };
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, nullptr));
    ASSERT_EQ(0, raise(SIGUSR1));

    EXPECT_EQ(0, s_resultOnAlternateStack);
    EXPECT_EQ(SIG_DFL, handlerOf(SIGSEGV));
    EXPECT_EQ(static_cast<void*>(memory), alternateStack().ss_sp);
    EXPECT_EQ(&HCrptLinuxExceptionHandler::crptDefaultLinuxHandler, handlerOf(SIGILL))
        << "the other five come first";
}

TEST(ExceptionHandlersTest, ItFailsWithoutMemoryForTheAlternateStack) {
    HCrptLinuxExceptionHandler handler;
    const seams::ScopedSeam failing(seams::failingMallocSize, std::size_t{8192});
    EXPECT_FALSE(handler.signalSegvInstall());
    EXPECT_EQ(SIG_DFL, handlerOf(SIGSEGV));
    EXPECT_EQ(SS_DISABLE, alternateStack().ss_flags);
}

TEST(ExceptionHandlersTest, ItFailsWhenTheFormerActionCannotBeRead) {
    HCrptLinuxExceptionHandler handler;
    std::vector<bool> calls;
    {
        const seams::ScopedSeam failing(seams::onSigaction, [&](int, bool sets) {
            calls.push_back(sets);
            return -1;
        });
        EXPECT_FALSE(handler.install());
    }
    EXPECT_EQ(std::vector<bool>{false}, calls);
    EXPECT_EQ(SIG_DFL, handlerOf(SIGSEGV));
}

TEST(ExceptionHandlersTest, ItFailsWhenTheActionCannotBeSet) {
    HCrptLinuxExceptionHandler handler;
    const seams::ScopedSeam failing(seams::onSigaction, [](int, bool sets) {
        return sets ? std::optional<int>(-1) : std::nullopt;
    });
    EXPECT_FALSE(handler.install());
}

TEST(ExceptionHandlersTest, ASelfInstallationThatFailsStillIgnoresInterrupts) {
    HCrptSelfLinuxExceptionHandler handler;
    const seams::ScopedSeam failing(seams::failingMallocSize, std::size_t{8192});
    EXPECT_FALSE(handler.install());
    EXPECT_EQ(SIG_IGN, handlerOf(SIGINT));
}

// --- The crash reporter's own handler -----------------------------------------------------------

TEST(ExceptionHandlersTest, InterruptsAreIgnoredInTheCrashReporterOnly) {
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    EXPECT_EQ(SIG_IGN, handlerOf(SIGINT));
}

TEST(ExceptionHandlersTest, InterruptsStayAsTheyAreInAHost) {
    HCrptExceptionMgr::get()->registerSignalHandlers();
    EXPECT_EQ(SIG_DFL, handlerOf(SIGINT));
}

TEST(ExceptionHandlersTest, TheCrashReporterRunsTheHostsRoutineOnPurpose) {
    const auto before = allHandlers();
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    for (const auto& [number, routine] : allHandlers()) {
        auto want = before.at(number);
        if (number == SIGINT) want = SIG_IGN;
        if (isFatal(number)) want = &HCrptLinuxExceptionHandler::crptDefaultLinuxHandler;
        EXPECT_EQ(want, routine) << "signal " << number;
    }
    EXPECT_EQ(8192U, alternateStack().ss_size);
}

TEST(ExceptionHandlersTest, AfterTheHostsTheReportersRegistrationChangesNoInterrupt) {
    HCrptExceptionMgr::get()->registerSignalHandlers();
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    EXPECT_EQ(SIG_DFL, handlerOf(SIGINT));
}

TEST(ExceptionHandlersTest, AfterTheReportersTheHostsRegistrationIgnoresInterruptsAgain) {
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    signal(SIGINT, SIG_DFL);
    HCrptExceptionMgr::get()->registerSignalHandlers();
    EXPECT_EQ(SIG_IGN, handlerOf(SIGINT));
}

TEST(ExceptionHandlersTest, TheReportersOwnRoutineDeletesTheStoreAndEnds) {
    const CrashScene scene;
    scene.writeStackTraceLog("log\n");
    ChildProcess child = ChildProcess::fork([]() -> int {
        std::atexit([] { _exit(99); });
        HCrptSelfLinuxExceptionHandler::crptSelfLinuxSignalHandler(SIGTERM);
        return 98;
    });
    EXPECT_EQ(exitedWith(128 + SIGTERM), child.wait());
    EXPECT_EQ(
        "[Crash Reporter] Closed Unexpectedly! Deleting crash store...\n"
        "[Crash Reporter] Deleted crash store.\n",
        child.standardOutput());
    EXPECT_FALSE(std::filesystem::exists(scene.store()));
}

// --- The crash handler --------------------------------------------------------------------------

// A real fault, not a sanitizer's report of it.
[[gnu::no_sanitize("undefined")]] void nullWrite() {
    int volatile* volatile null = nullptr;
    *null = 1;
}

/// Dies of a real signal, and while the crash handler runs, of what during() does.
ChildProcess dieTwice(CrashScene& scene, const std::function<void()>& die,
                      const std::function<void()>& during) {
    return ChildProcess::fork([&]() -> int {
        scene.platform.onCopyToDir = [&](const auto&...) {
            during();
            return true;
        };
        HCrptExceptionMgr::get()->registerSignalHandlers();
        die();
        return 99;
    });
}

struct SecondSignal {
    const char* name;
    void (*first)();
    void (*second)();
    int status;
};

void PrintTo(const SecondSignal& row, std::ostream* out) {
    *out << row.name;
}

class SecondSignalTest : public testing::TestWithParam<SecondSignal> {};

TEST_P(SecondSignalTest, EndsTheProcessWithTheStatusOfTheFirst) {
    CrashScene scene;
    scene.writeStackTraceLog("log\n");
    ChildProcess child = dieTwice(scene, GetParam().first, GetParam().second);
    // A second fault ends the process itself, and not by the deadline that bounds the crash
    // handler.
    const std::chrono::seconds soonerThanTheDeadline(hcrpt::Watchdog::kCopies * 3 / 4);
    EXPECT_EQ(exitedWith(GetParam().status), child.wait(soonerThanTheDeadline));
    const std::string trace = test_support::readFile(scene.rawTrace());
    EXPECT_EQ(0U, trace.find("#\n# An unexpected error has occurred (" +
                             std::to_string(GetParam().status - 128) + ")\n"))
        << "the second signal wrote over the first one's trace";
}

INSTANTIATE_TEST_SUITE_P(
    Table, SecondSignalTest,
    testing::Values(SecondSignal{"FaultAfterAbort", [] { std::abort(); }, nullWrite, 134},
                    SecondSignal{"FaultAfterFault", nullWrite, nullWrite, 139},
                    SecondSignal{"QuitAfterFault", nullWrite, [] { raise(SIGQUIT); }, 139},
                    SecondSignal{"AbortAfterFault", nullWrite, [] { std::abort(); }, 139},
                    SecondSignal{"AbortAfterAbort", [] { std::abort(); }, [] { std::abort(); },
                                 134},
                    SecondSignal{"IllegalInstructionAfterQuit", [] { raise(SIGQUIT); },
                                 [] { asm volatile("ud2"); }, 131}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CrashHandlerTest, ItEndsWithoutExitHandlersAndFlushesNoStreamOfTheHost) {
    const CrashScene scene;
    scene.writeStackTraceLog("log\n");
    const std::string path = scene.work() + "/stream";
    ChildProcess child = ChildProcess::fork([&]() -> int {
        std::atexit([] { _exit(99); });
        std::fputs("half a record", std::fopen(path.c_str(), "w"));
        HCrptExceptionMgr::get()->registerSignalHandlers();
        HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(SIGBUS);
        return 98;
    });
    EXPECT_EQ(exitedWith(128 + SIGBUS), child.wait());
    EXPECT_NE("", scene.report());
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ("", test_support::readFile(path));
}

TEST(CrashHandlerTest, WithoutResourcesItOnlySaysSoAndEnds) {
    const CrashScene scene;
    scene.writeStackTraceLog("log\n");
    ChildProcess child = ChildProcess::fork([]() -> int {
        HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(SIGILL);
        return 98;
    });
    EXPECT_EQ(exitedWith(128 + SIGILL), child.wait());
    EXPECT_EQ(
        "Error: Abnormal program termination (4) of process id 4242. Unable to write a stacktrace "
        "file, probably because current directory is not writable.\n"
        "Could not generate crash report log as no stack trace could be written\n",
        child.standardOutput());
    EXPECT_EQ(std::vector<std::string>(), test_support::namesIn(scene.work()));
    EXPECT_EQ("", scene.report());
}

TEST(CrashHandlerTest, SignalsFromOutsideDoNotCostTheReport) {
    for (const int number : {SIGQUIT, SIGTERM, SIGHUP}) {
        CrashScene scene;
        scene.writeStackTraceLog("log\n");
        ChildProcess child = dieTwice(
            scene, [] { std::abort(); }, [number] { kill(getpid(), number); });
        EXPECT_EQ(exitedWith(134), child.wait()) << number;
        EXPECT_NE("", scene.report()) << number;
    }
}

TEST(CrashHandlerTest, ASecondThreadThatDiesWaitsForTheFirstOnesReport) {
    CrashScene scene;
    scene.writeStackTraceLog("log\n");
    ChildProcess child = dieTwice(
        scene, [] { std::abort(); },
        [] {
            std::thread([] { nullWrite(); }).detach();
            // Time for the other thread to die in, if it could end the process.
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        });
    EXPECT_EQ(exitedWith(134), child.wait());
    EXPECT_NE("", scene.report());
}

// --- Shape --------------------------------------------------------------------------------------

TEST(ExceptionHandlersTest, TheBacktraceArrayIsPrimedWhenTheLibraryIsLoaded) {
    EXPECT_NE(nullptr, s_btArray[0]);
    EXPECT_EQ(nullptr, s_btArray[1]) << "more than the one frame of the priming: not fresh";
    EXPECT_EQ(200U, sizeof s_btArray / sizeof s_btArray[0]);
}

static_assert(sizeof(Base) == sizeof(void*));
static_assert(sizeof(HCrptLinuxExceptionHandler) == 2 * sizeof(void*));
static_assert(sizeof(HCrptSelfLinuxExceptionHandler) == 3 * sizeof(void*));

TEST(ExceptionHandlersTest, TheRoutineThatAnObjectHoldsIsTheOneThatIsInstalled) {
    using Routine = void (*)(int);
    struct Fields {
        void* table;
        Routine inherited;
        Routine own;
    };
    HCrptSelfLinuxExceptionHandler handler;
    Fields fields;
    static_assert(sizeof fields == sizeof handler);
    std::memcpy(&fields, static_cast<void*>(&handler), sizeof fields);
    EXPECT_EQ(&HCrptLinuxExceptionHandler::crptDefaultLinuxHandler, fields.inherited);
    EXPECT_EQ(&HCrptSelfLinuxExceptionHandler::crptSelfLinuxSignalHandler, fields.own);

    fields.inherited = [](int) {};
    std::memcpy(static_cast<void*>(&handler), &fields, sizeof fields);
    EXPECT_TRUE(handler.install());
    for (const int number : kFatalSignals) EXPECT_EQ(fields.inherited, handlerOf(number)) << number;
}

class RecordingHandler : public Base {
  public:
    explicit RecordingHandler(std::vector<std::string>& calls) : m_calls(calls) {}
    ~RecordingHandler() override { m_calls.push_back("destructor"); }
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void* operator new(std::size_t, void* storage) { return storage; }
    static void operator delete(void* memory) {
        ++s_deleted;
        ::operator delete(memory);
    }
    bool install() override {
        m_calls.push_back("install");
        return true;
    }
    bool printTrace(int fd, unsigned long frames) override {
        m_calls.push_back("printTrace " + std::to_string(fd) + " " + std::to_string(frames));
        return true;
    }
    bool printTraceMangled(int fd, unsigned long frames) override {
        m_calls.push_back("printTraceMangled " + std::to_string(fd) + " " + std::to_string(frames));
        return true;
    }
    static int s_deleted;

  private:
    std::vector<std::string>& m_calls;
};
int RecordingHandler::s_deleted = 0;

// Hosts that were built against an older release call through these slots.
TEST(ExceptionHandlersTest, VirtualOperationsKeepTheirSlots) {
    std::vector<std::string> calls;
    Base* const handler = new RecordingHandler(calls);
    void** const table = *reinterpret_cast<void***>(handler);
    reinterpret_cast<bool (*)(Base*)>(table[2])(handler);
    reinterpret_cast<bool (*)(Base*, int, unsigned long)>(table[3])(handler, 7, 8);
    reinterpret_cast<bool (*)(Base*, int, unsigned long)>(table[4])(handler, 9, 10);
    EXPECT_EQ((std::vector<std::string>{"install", "printTrace 7 8", "printTraceMangled 9 10"}),
              calls);
    calls.clear();

    reinterpret_cast<void (*)(Base*)>(table[1])(handler);
    EXPECT_EQ(std::vector<std::string>{"destructor"}, calls);
    EXPECT_EQ(1, RecordingHandler::s_deleted) << "slot 1 is the deleting destructor";
    calls.clear();

    alignas(RecordingHandler) unsigned char storage[sizeof(RecordingHandler)];
    Base* const inPlace = new (storage) RecordingHandler(calls);
    reinterpret_cast<void (*)(Base*)>((*reinterpret_cast<void***>(inPlace))[0])(inPlace);
    EXPECT_EQ(std::vector<std::string>{"destructor"}, calls);
    EXPECT_EQ(1, RecordingHandler::s_deleted) << "slot 0 is the plain destructor";
}

class MinimalHandler : public Base {
  public:
    bool install() override { return true; }
    bool printTrace(int, unsigned long) override { return true; }
};

TEST(ExceptionHandlersTest, TheBaseWritesNoRawTraceAndSaysTrue) {
    const test_support::TempDir directory;
    const std::string path = directory / "trace";
    test_support::writeFile(path, "before");
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    MinimalHandler handler;
    EXPECT_TRUE(handler.printTraceMangled(fd, 100));
    close(fd);
    EXPECT_EQ("before", test_support::readFile(path));
}

}  // namespace
