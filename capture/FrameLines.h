/// @file
/// The lines of a trace, with the names of the functions that made the calls.
#pragma once

namespace hcrpt {

/// Writes the line of a return address as backtrace_symbols_fd() does, but named by the call before
/// it. Where that call is the last instruction of a function, because it never returns, the address
/// itself belongs to the next function: the line then holds the function that made the call, and
/// the offset from its start. A caller without a name leaves the name empty.
/// Writes each line with one call, as backtrace_symbols_fd() does. @signalsafe but for the loader's
/// lock, which backtrace_symbols_fd() takes too.
void writeReturnLine(int fd, const void* address);

/// Writes the line of a frame of a backtrace. All frames hold return addresses but two: the
/// handler's caller, where a signal handler will go on, and the frame after it, the interrupted
/// instruction. Their lines are those of backtrace_symbols_fd().
/// @param before the frame before this one; null: there is none
/// @param handlersCaller null: no frame was interrupted
/// @signalsafe as writeReturnLine() is.
void writeFrameLine(int fd, void* frame, const void* before, const void* handlersCaller);

}  // namespace hcrpt
