/// @file
/// Visibility of the library's interface, and the grades that its comments use.
///
/// Every operation in the public headers belongs to one of three grades:
///
/// - `@signalsafe`: may run inside a signal handler of a crashing process. Only async-signal-safe
///   calls, memory from the arena or the stack, small frames, nothing bound lazily.
/// - `@crashtime`: runs in the crashing process as best effort: may use the heap, stdio or a shell,
///   and never waits for a name service.
/// - `@ordinary`: start-up of a host, or the crash reporter. An operation without a mark is
///   ordinary.
#pragma once

#define HCRPT_EXPORT __attribute__((visibility("default")))
