/// @file
/// Runs work that may fault or hang in a child process, which alone pays for it.
///
/// | | runInForkedChild() | runInSharedChild() |
/// |---|---|---|
/// | the child | a copy of this process | shares its memory, stack and descriptors |
/// | what the work has changed | goes with the child | stays, up to a fault |
/// | result | a text | whether the work came to its end |
/// | bound | time for all of it | time for each step |
/// | grade | @crashtime | @signalsafe |
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace hcrpt {

// --- A copy of this process ---------------------------------------------------------------------

enum class ChildEnd {
    answered,    ///< the task came to its end
    failed,      ///< the task gave no answer, threw, or died, also of its processor time
    timedOut,    ///< the task was killed
    notStarted,  ///< there was no child to be had
};

struct ChildAnswer {
    ChildEnd end = ChildEnd::notStarted;
    std::string text;  ///< empty unless the child has answered
};

/// Zero means no bound.
struct ForkedChildBounds {
    std::chrono::milliseconds wallClock{0};  ///< then the child is killed with all it has started
    std::chrono::microseconds processorTime{0};  ///< of the child alone
};

/// Runs the task in a forked child. Memory that is never given back, above all the crash-time
/// arena's, goes with the child, and so does whatever fails in it: neither the host's crash
/// handlers nor this library's run there, and no core file is written. The child does not flush
/// stdio's buffers; a caller whose task prints flushes them before. @crashtime, one thread
/// @return what the task returned; nothing from the task counts as failed.
[[nodiscard]] ChildAnswer runInForkedChild(const std::function<std::optional<std::string>()>& task,
                                           const ForkedChildBounds& bounds);

// --- A child that shares memory and stack -------------------------------------------------------

/// Runs body(argument) in a child process that shares this one's memory, stack and descriptors,
/// while the calling thread is suspended. A fault in the body, and a body that makes no progress
/// for kSharedChildStepSeconds, end the child alone; what it has done until then stays.
/// If no child can be made, the body runs in the calling thread.
/// @signalsafe as far as the body is. The host sees nothing of the child: no SIGCHLD, no status.
/// @return true when the body came to its end.
bool runInSharedChild(void (*body)(void*) noexcept, void* argument);

/// The body calls this after each step and then has time for the next one. Does nothing outside a
/// shared child. @signalsafe
void sharedChildProgress();

/// How long one step of the body may take.
constexpr int kSharedChildStepSeconds = 5;

}  // namespace hcrpt
