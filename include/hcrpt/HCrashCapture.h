/// @file
/// Crash capture: memory and paths reserved before a crash, signal handlers, raw trace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "hcrpt/HCrptExport.h"

/// Reserves memory and paths before a crash.
///
/// Lifetime: the first get() constructs the instance; the constructor of a handler calls it at the
/// latest. Blocks live until the process ends; none is freed singly. Threads: any thread may call
/// the first get(). The other operations take no lock; only one thread may use them at a time (the
/// start-up thread, then the crashing thread).
class HCRPT_EXPORT HCrptResourceMgr {
  public:
    /// Returns the single instance. The first call allocates and is @ordinary; later calls are
    /// @signalsafe.
    static HCrptResourceMgr* get();
    /// Allocates and clears the arena and the scratch buffers, and builds the two paths with the id
    /// of this process. A forked child keeps these paths: if it crashes, it writes under its
    /// parent's id.
    HCrptResourceMgr();
    ~HCrptResourceMgr();
    HCrptResourceMgr(const HCrptResourceMgr&) = delete;
    HCrptResourceMgr& operator=(const HCrptResourceMgr&) = delete;

    /// Returns the next n bytes of the arena, which has 50,000 bytes. Blocks follow each other
    /// without alignment. @signalsafe after the first get().
    /// @return null when fewer than n bytes are left; the arena is then unchanged. No message.
    static void* allocateMem(std::size_t n);

    /// Takes a scratch buffer of getScratchSize() bytes. @signalsafe
    /// @return null when the buffer is taken already, and before the first get(); that call takes
    ///         it, too.
    static char* getScratchBuffer1();
    static char* getScratchBuffer2();
    /// Gives the buffer back; allowed also when it is not taken. @signalsafe
    static void releaseScratchBuffer1();
    static void releaseScratchBuffer2();
    /// 10000. @signalsafe
    static std::size_t getScratchSize();

    /// Full path of this process's stack-trace log in the crash store. @signalsafe
    static const std::string& getStacktraceLogPath();
    /// Full path of this process's raw trace in the working directory. @signalsafe
    static const std::string& getStacktraceTempFilePath();

    /// Returns true once the instance's destructor has run, at the exit of the process. Arena and
    /// scratch buffers are freed then, and blocks come from a spare arena. @signalsafe
    static bool isReleased();

    /// Reads one line of src, from offset up to and including its line feed, and advances offset.
    /// @signalsafe
    ///
    /// | met first | copy mode (skip false) | skip mode |
    /// |---|---|---|
    /// | offset beyond last | empty dest, offset stays | dest and offset stay |
    /// | cap is 0 | empty dest, offset stays | dest and offset stay |
    /// | line feed | copied; offset past it | offset past it |
    /// | end of the bytes | copied; offset stays | offset stays |
    /// | cap bytes | copied; offset past them | cap is ignored |
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
    // References to texts that are never destroyed: a crash during the exit of the process still
    // finds its paths.
    static std::string& m_stackTraceLogPath;
    static std::string& m_stackTraceTempFilePath;
};

namespace HCrashReporter {

/// Depth of a backtrace.
constexpr std::size_t kBacktraceDepth = 200;
/// Return addresses of the last backtrace; all trace writers share it. The library takes a first
/// backtrace when it is loaded, so that a backtrace in a handler loads no library and allocates no
/// memory.
extern HCRPT_EXPORT void* s_btArray[kBacktraceDepth];
/// First line of a trace that is not complete yet.
extern HCRPT_EXPORT const char partialStackTraceMsg[];

/// Handles fatal signals. Each process has one object, which lies in the arena and is never
/// destroyed.
class HCRPT_EXPORT HCrptExceptionHandlerBase {
  public:
    /// Reserves all crash-time resources. @throws std::bad_alloc when memory is exhausted.
    HCrptExceptionHandlerBase();
    virtual ~HCrptExceptionHandlerBase();

    /// Installs the handlers. @return true when the handler of SIGSEGV was installed.
    virtual bool install() = 0;
    /// Writes a demangled trace of about maxFrames frames at most to the descriptor fd. @crashtime
    /// @return false when it could write no trace.
    virtual bool printTrace(int fd, unsigned long maxFrames) = 0;
    /// Writes a raw trace to the descriptor fd. The base class writes nothing. @signalsafe
    /// @return true
    virtual bool printTraceMangled(int fd, unsigned long frames);

    /// Returns the process's handler. The first call creates it: the host's for "", the crash
    /// reporter's for "Self". Any other name gives null. Later calls return the same object for
    /// every name. Null also when the arena is exhausted. Start-up thread only.
    static HCrptExceptionHandlerBase* get(std::string name);

    /// Writes the raw trace, copies it into the crash store and waits up to 100 seconds for the
    /// stack-trace log. Fails when descriptor 0 is closed; the crash handler opens the null device
    /// there first. Uses little of the current stack: everything but the trace itself runs on the
    /// crash stack. Messages on standard output name the trace's path. @crashtime
    static void writeStackTraceTxtLog(int sig);
    /// Gathers the facts of this process and writes the JSON report into the crash store. Catches
    /// every exception; a failure costs the report. @crashtime
    static void writeCrashReport();

  private:
    static HCrptExceptionHandlerBase* m_handler;
};

/// The handler of a host application.
class HCRPT_EXPORT HCrptLinuxExceptionHandler : public HCrptExceptionHandlerBase {
  public:
    HCrptLinuxExceptionHandler();
    ~HCrptLinuxExceptionHandler() override;

    /// Installs the crash handler for SIGILL, SIGFPE, SIGBUS, SIGABRT and SIGQUIT on the normal
    /// stack, then calls signalSegvInstall().
    bool install() override;
    /// Writes the raw trace file, then its filtered and demangled frames to fd. @crashtime
    /// @return false when the raw trace file cannot be created (prints a line).
    bool printTrace(int fd, unsigned long maxFrames) override;
    /// Writes the frames one by one and syncs each to the disk before it unwinds further, then
    /// replaces them by the whole trace. If the unwinder faults, the frames found so far stay.
    /// @signalsafe
    /// @param frames unused; up to 199 frames are written
    bool printTraceMangled(int fd, unsigned long frames) override;

    /// Installs the crash handler for SIGSEGV and gives the calling thread an alternate stack of
    /// 8,192 bytes. Each call allocates another stack.
    /// @return false when a step failed; the action of SIGSEGV is then unchanged.
    bool signalSegvInstall();
    /// Writes one trace line to fd with its name demangled. Uses both scratch buffers; writes the
    /// line unchanged when they are taken or the line has no mangled name. @crashtime
    void demangle(int fd, char* line);

    /// The crash handler: writes trace and report and ends the process with status 128 + sig. Never
    /// returns. Only one thread of a process does this; any other thread waits here for the end of
    /// the process. A fault of the crash handler itself ends the process at once. A child that
    /// shares its parent's memory (vfork()) does all this in a copy of itself. While the crash
    /// handler runs, it ignores fatal signals from other processes, stops the host's interval
    /// timers and holds threads that call exit(). @crashtime
    static void crptDefaultLinuxHandler(int sig);

  private:
    void (*m_signalHandler)(int);
};

/// The handler of the crash reporter itself.
class HCRPT_EXPORT HCrptSelfLinuxExceptionHandler : public HCrptLinuxExceptionHandler {
  public:
    HCrptSelfLinuxExceptionHandler();
    ~HCrptSelfLinuxExceptionHandler() override;

    /// Installs the host's crash handler as in a host, then ignores SIGINT.
    bool install() override;

    /// Deletes the crash store and ends the process with status 128 + sig. No handler installs it.
    /// @crashtime
    static void crptSelfLinuxSignalHandler(int sig);

  private:
    [[maybe_unused]] void (*m_selfSignalHandler)(int);  // no handler installs it
};

/// Gives access to the handlers and installs them. Stateless.
class HCRPT_EXPORT HCrptExceptionMgr {
  public:
    /// Returns the single instance.
    static HCrptExceptionMgr* get();
    /// Returns HCrptExceptionHandlerBase::get() of the name.
    HCrptExceptionHandlerBase* getHandler(std::string name);
    /// Installs the host's handler.
    void registerSignalHandlers();
    /// Installs the crash reporter's handler.
    void registerSelfSignalHandlers();
};

}  // namespace HCrashReporter

/// Triggers failures, for debugging commands of the host. Stateless. @ordinary
class HCRPT_EXPORT HCrashRptDebug {
  public:
    /// Calls itself endlessly and never returns. Without optimisation it overflows the stack; an
    /// optimising compiler turns the call into a loop, and the process spins forever.
    /// @param value each call passes it on; it has no effect
    static void forceStackOverflow(int value);
    /// Forks a copy of this process, which raises SIGABRT and so runs the installed handler. This
    /// process continues. The copy's traces carry the id of the process that installed the handler.
    /// The caller waits for the copy as for any child.
    /// @return the copy's process id; -1 when fork() failed.
    static int forceCoreDump();
    /// Lifts the soft and hard limits on the size of core files. Prints "[Crash Reporter] Error:
    /// Unable to set core dump size to unlimited" when the system refuses. A process with a crash
    /// handler leaves no core file, because the handler ends it by exit.
    static void setCoreFileSizeLimit();
};
