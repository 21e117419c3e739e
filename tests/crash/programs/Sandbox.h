/// @file
/// Sandboxes that a host may put itself into.
#pragma once

#include <vector>

namespace sandbox {

/// What the kernel does about a system call that is forbidden.
enum class Answer { kill, trap, error };

/// From now on the kernel allows these calls alone to this process and to all that it starts.
void allowOnly(const std::vector<long>& calls, Answer answer);

/// From now on the kernel forbids these calls.
void forbid(const std::vector<long>& calls, Answer answer);

/// Handles SIGSYS as sandboxes do: the call fails with EPERM.
void failForbiddenCalls();

}  // namespace sandbox
