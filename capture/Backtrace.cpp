#include <execinfo.h>

#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {

void* s_btArray[kBacktraceDepth];

const char partialStackTraceMsg[] =
    "Following is a partial stack trace, only, likely due to stack corruption\n";

namespace {

/// The first backtrace() of a process loads the unwinder, which takes the loader's lock and the
/// heap. Taken once when the library is loaded, none of that is left for a signal handler. It
/// stands beside the array so that no linker drops it.
struct BacktraceInitializer {
    BacktraceInitializer() { backtrace(s_btArray, 1); }
} s_BacktraceInitializerObj;

}  // namespace
}  // namespace HCrashReporter
