/// @file
/// Code of a host that fails in every way that is tested. Its functions are to be named in
/// traces.
#pragma once

namespace zeb::failing {

void nullWrite();
void stackOverflow();
void divideByZero();
void illegalInstruction();
void busError();
void callAbort();
void throwUncaught();
void callNull();
void jumpNowhere();
/// Fails in code without unwind tables, called by more of it.
void callGenerated();
void smashReturnAddress();
/// Puts an address that cannot be read where the caller's frame pointer was saved, then fails. From
/// there on no unwinder finds the way; its attempt faults.
void smashFramePointer();
void smashFrames();
void doubleFree();
/// A heap whose next larger request faults within malloc().
void faultInMalloc();
/// A heap that the C library itself ends the process for, its lock held where there are threads.
void corruptTop();
/// Fails that many calls deep.
void atDepth(int calls, void (*failure)() = nullWrite);
/// Waits for a signal from outside.
void waitForSignal();
/// Null write in the function worker<NUMBER>(), 0 to kWorkers - 1.
constexpr int kWorkers = 8;
void failAsWorker(int number);

}  // namespace zeb::failing

/// nullWrite() within a function whose name has more than a thousand characters.
void callLongName();
