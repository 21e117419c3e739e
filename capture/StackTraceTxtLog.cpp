// Up to the hand-over the raw trace is not safe: small frames, no heap, no strings.
#include <unistd.h>

#include "HUTEnv.h"
#include "base/TextBuilder.h"
#include "base/WriteAll.h"
#include "capture/CrashOutput.h"
#include "capture/CrashStack.h"
#include "capture/RawTrace.h"
#include "capture/TraceFile.h"
#include "capture/TraceHandOver.h"
#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

void announce(int sig) {
    char buffer[96];
    hcrpt::TextBuilder line(buffer, sizeof buffer);
    line.add("Error: Abnormal program termination (").add(sig).add(") of process id ");
    line.add(HUTEnv::getPid()).add(". ");  // Contract: no line feed; the next message continues
    hcrpt::putStdout(line.text(), line.length());
}

}  // namespace

void HCrptExceptionHandlerBase::writeStackTraceTxtLog(int sig) {
    announce(sig);

    const int fd = hcrpt::openRawTrace();
    if (fd < 1) {  // Contract: descriptor 0 counts as a failure, too
        hcrpt::putStdout(
            "Unable to write a stacktrace file, probably because current directory is not "
            "writable.\n");
        hcrpt::flushStdout();
        return;
    }
    hcrpt::writeTraceHeader(fd, sig);
    hcrpt::TraceHandOver handOver;
    if (HCrptResourceMgr::isReleased()) {
        hcrpt::writeRawTrace(fd);  // the handler object went with the arena
    } else {
        // getHandler() takes a string; it is needed only where no handler has been made.
        HCrptExceptionHandlerBase* const handler =
            m_handler != nullptr ? m_handler : HCrptExceptionMgr::get()->getHandler("");
        if (handler != nullptr) handOver.copyRawTrace = handler->printTraceMangled(fd, 100);
    }
    hcrpt::writeAll(fd, "\n", 1);
    close(fd);

    hcrpt::CrashStack::run(&hcrpt::TraceHandOver::run, &handOver);
}

}  // namespace HCrashReporter
