/// @file
/// Crash capture: the memory and paths reserved before a crash, the handlers, the raw trace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "hcrpt/HCrptExport.h"

/// Memory and paths reserved before any crash.
///
/// Lifetime: built by the first get(), at the latest when a handler is made; blocks live until the
/// process ends, nothing is given back singly.
/// Threads: the construction is safe; after it nothing is locked, one thread at a time (start-up
/// thread, then the crashing thread).
class HCRPT_EXPORT HCrptResourceMgr {
  public:
    /// The single instance; its first call allocates and is @ordinary, later ones are @signalsafe.
    static HCrptResourceMgr* get();
    /// Allocates and clears arena and scratch buffers, and makes the two paths with the id of this
    /// process. A child that crashes after a fork writes under its parent's id.
    HCrptResourceMgr();
    ~HCrptResourceMgr();
    HCrptResourceMgr(const HCrptResourceMgr&) = delete;
    HCrptResourceMgr& operator=(const HCrptResourceMgr&) = delete;

    /// Hands out the next n bytes of the arena (50,000 bytes; blocks follow each other without
    /// alignment). @signalsafe after the first get().
    /// @return null when fewer than n bytes are left; nothing is consumed then. No message.
    static void* allocateMem(std::size_t n);

    /// Takes a scratch buffer of getScratchSize() bytes. @signalsafe
    /// @return null when it is taken, and before the first get() (it counts as taken then, too).
    static char* getScratchBuffer1();
    static char* getScratchBuffer2();
    /// Gives it back, whether or not it was taken. @signalsafe
    static void releaseScratchBuffer1();
    static void releaseScratchBuffer2();
    /// 10000. @signalsafe
    static std::size_t getScratchSize();

    /// Full path of this process's stack-trace log in the crash store. @signalsafe
    static const std::string& getStacktraceLogPath();
    /// Full path of this process's raw trace in the working directory. @signalsafe
    static const std::string& getStacktraceTempFilePath();

    /// Whether the instance's destructor has run, at the exit of the process: the arena and the
    /// scratch buffers are gone then. Blocks come from a spare arena afterwards. @signalsafe
    static bool isReleased();

    /// Reads one line of src from offset on, up to and including its line feed. @signalsafe
    ///
    /// | met first | copy mode (skip false) | skip mode |
    /// |---|---|---|
    /// | offset beyond last | empty dest, offset stays | dest and offset stay |
    /// | cap is 0 | empty dest, offset stays | dest and offset stay |
    /// | line feed | copied; offset past it | offset past it |
    /// | end of the bytes | copied; offset stays | offset stays |
    /// | cap bytes | copied; offset past them | cap is not looked at |
    ///
    /// @param last index of the last readable byte (inclusive)
    /// @param dest holds cap + 1 bytes; untouched in skip mode
    /// @return dest
    static char* getNextLineFromBuffer(char* src, std::size_t last, char* dest, std::size_t cap,
                                       std::size_t& offset, bool skip);

  private:
    static char* mp_buffer;
    static std::uint64_t m_offset;
    static char* mp_scratchBuffer1;
    static char* mp_scratchBuffer2;
    static bool m_buffer1Free;
    static bool m_buffer2Free;
    // References to texts that are never destroyed: a crash in the last steps of a process's exit
    // still finds its paths.
    static std::string& m_stackTraceLogPath;
    static std::string& m_stackTraceTempFilePath;
};

namespace HCrashReporter {

/// Depth of a backtrace.
constexpr std::size_t kBacktraceDepth = 200;
/// Return addresses of the backtrace, shared by the trace writers. Primed when the library is
/// loaded, so that taking a backtrace in a handler loads and allocates nothing.
extern HCRPT_EXPORT void* s_btArray[kBacktraceDepth];
/// First line of a trace that is being taken.
extern HCRPT_EXPORT const char partialStackTraceMsg[];

/// What handles fatal signals. There is one object per process; it lies in the arena and is never
/// destroyed.
class HCRPT_EXPORT HCrptExceptionHandlerBase {
  public:
    /// Reserves all crash-time resources. @throws std::bad_alloc where they cannot be had.
    HCrptExceptionHandlerBase();
    virtual ~HCrptExceptionHandlerBase();

    /// Installs the handlers. @return whether SIGSEGV's could be installed.
    virtual bool install() = 0;
    /// Writes a demangled trace of at most about maxFrames frames. @crashtime
    virtual bool printTrace(int fd, unsigned long maxFrames) = 0;
    /// Writes a raw trace. @signalsafe This one writes nothing. @return true
    virtual bool printTraceMangled(int fd, unsigned long frames);

    /// The process's handler. The first request decides: "" makes the host's, "Self" the crash
    /// reporter's; any other name gives null. Later requests return the same object, whatever the
    /// name. Null as well when the arena is exhausted. Start-up thread only.
    static HCrptExceptionHandlerBase* get(std::string name);

    /// Writes the raw trace, hands it to the crash store and waits up to 100 seconds for the
    /// stack-trace log. Where descriptor 0 is closed it fails, but within the crash handler, which
    /// opens the null device there. Needs little of the current stack: all but the trace itself
    /// runs on the crash stack. Messages on standard output tell where the trace is. @crashtime
    static void writeStackTraceTxtLog(int sig);
    /// Gathers the facts of this process and writes the JSON report into the crash store. No
    /// failure leaves it. @crashtime
    static void writeCrashReport();

  private:
    static HCrptExceptionHandlerBase* m_handler;
};

/// The handler of a host application.
class HCRPT_EXPORT HCrptLinuxExceptionHandler : public HCrptExceptionHandlerBase {
  public:
    HCrptLinuxExceptionHandler();
    ~HCrptLinuxExceptionHandler() override;

    /// SIGILL, SIGFPE, SIGBUS, SIGABRT and SIGQUIT, on the normal stack; then signalSegvInstall().
    bool install() override;
    /// Writes the filtered, demangled frames to fd, by way of the raw trace file. @crashtime
    /// @return false when the raw trace file cannot be made (prints a line).
    bool printTrace(int fd, unsigned long maxFrames) override;
    /// Writes the frames one by one, each on disk before the next is looked for, then replaces them
    /// by the whole trace. A fault while walking leaves what was found so far. @signalsafe
    /// @param frames not used: up to 199 frames are written
    bool printTraceMangled(int fd, unsigned long frames) override;

    /// SIGSEGV on an alternate stack of 8,192 bytes of the calling thread. Each call allocates a
    /// further one.
    /// @return false when a step failed; SIGSEGV's action is then unchanged.
    bool signalSegvInstall();
    /// Writes one trace line to fd with its name demangled, by means of the two scratch buffers;
    /// unchanged when they are taken or there is nothing to demangle. @crashtime
    void demangle(int fd, char* line);

    /// The crash handler: trace, report, end with 128 + sig. Never returns. Only one thread of a
    /// process gets to that; another one waits here for the end. A fault of the crash handler
    /// itself ends the process at once. A child that shares its parent's memory (vfork()) does all
    /// this in a copy of itself. While it runs, fatal signals of other processes are ignored, the
    /// host's interval timers are stopped, and threads that call exit() are held. @crashtime
    static void crptDefaultLinuxHandler(int sig);

  private:
    void (*m_signalHandler)(int);
};

/// The handler of the crash reporter itself.
class HCRPT_EXPORT HCrptSelfLinuxExceptionHandler : public HCrptLinuxExceptionHandler {
  public:
    HCrptSelfLinuxExceptionHandler();
    ~HCrptSelfLinuxExceptionHandler() override;

    /// The host's installation with the host's crash handler, then SIGINT ignored.
    bool install() override;

    /// Deletes the crash store and ends with 128 + sig. Kept, not installed. @crashtime
    static void crptSelfLinuxSignalHandler(int sig);

  private:
    [[maybe_unused]] void (*m_selfSignalHandler)(int);  // kept, not installed
};

/// Through which handlers are obtained and installed. Stateless.
class HCRPT_EXPORT HCrptExceptionMgr {
  public:
    static HCrptExceptionMgr* get();
    /// HCrptExceptionHandlerBase::get()
    HCrptExceptionHandlerBase* getHandler(std::string name);
    /// Installs the host's handler.
    void registerSignalHandlers();
    /// Installs the crash reporter's handler.
    void registerSelfSignalHandlers();
};

}  // namespace HCrashReporter

/// Failures on purpose, for debugging commands of the host. Stateless. @ordinary
class HCRPT_EXPORT HCrashRptDebug {
  public:
    /// Calls itself without end and never returns. Built without optimisation it overflows the
    /// stack; an optimised build turns the call into a loop and the process spins for ever.
    static void forceStackOverflow(int value);
    /// Starts a copy of this process that dies of SIGABRT, by way of the installed handler, while
    /// this process goes on. The copy's traces carry the id of the process that installed the
    /// handler. The caller waits for the copy as for any child.
    /// @return the copy's process id; -1 when there could be none.
    static int forceCoreDump();
    /// Lifts the limit on the size of core files, the hard one too. Prints "[Crash Reporter] Error:
    /// Unable to set core dump size to unlimited" when that is not allowed. Core files are written
    /// only where no handler is installed: the crash handler ends by exit.
    static void setCoreFileSizeLimit();
};
