/// @file
/// A crash in a child that shares its parent's memory.
#pragma once

namespace hcrpt {

/// Goes on in a copy of the calling process that has memory of its own, so that the process whose
/// memory the caller shares, and which lives on, finds it unchanged. Returns in the copy only. The
/// calling process waits for the copy, CrashClaim::kMaxCrashSeconds at most, and ends with its
/// status, or with this one where the copy cannot be made or does not end by itself. @signalsafe
void continueInCopy(int status);

}  // namespace hcrpt
