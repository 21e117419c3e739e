/// @file
/// Visibility of the library's interface, and the signal-safety grades that its comments use.
///
/// Every operation in the public headers belongs to one of three grades:
///
/// - `@signalsafe`: may run inside a signal handler of a crashing process. It makes only
///   async-signal-safe calls, uses memory of the arena and the stack only, has small frames and
///   calls no lazily bound symbol.
/// - `@crashtime`: runs in the crashing process as best effort. It may use the heap, stdio or a
///   shell and never waits for a name service.
/// - `@ordinary`: runs at the start-up of a host or in the crash reporter. An operation without a
///   mark is ordinary.
#pragma once

#define HCRPT_EXPORT __attribute__((visibility("default")))
