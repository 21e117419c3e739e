#include <signal.h>

#include <cstdlib>

#include "base/FatalSignals.h"
#include "capture/RawTrace.h"
#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

// Fixed, though a processor with large vector state leaves little of it: what runs there is made to
// fit. See CrashStack.h.
constexpr std::size_t kAlternateStackSize = 8192;  // bytes

}  // namespace

HCrptLinuxExceptionHandler::HCrptLinuxExceptionHandler()
    : m_signalHandler(&HCrptLinuxExceptionHandler::crptDefaultLinuxHandler) {}

HCrptLinuxExceptionHandler::~HCrptLinuxExceptionHandler() = default;

bool HCrptLinuxExceptionHandler::install() {
    for (const int number : hcrpt::kFatalSignals)
        if (number != SIGSEGV) signal(number, m_signalHandler);
    return signalSegvInstall();
}

bool HCrptLinuxExceptionHandler::signalSegvInstall() {
    // Never freed: the kernel may use it until the process ends.
    stack_t stack = {};
    stack.ss_sp = std::malloc(kAlternateStackSize);
    if (stack.ss_sp == nullptr) return false;
    stack.ss_size = kAlternateStackSize;
    if (sigaltstack(&stack, nullptr) != 0) {
        std::free(stack.ss_sp);
        return false;
    }

    struct sigaction action = {};
    if (sigaction(SIGSEGV, nullptr, &action) != 0) return false;
    action.sa_handler = m_signalHandler;
    // The crash handler takes the signal number alone, and stays installed.
    action.sa_flags &= ~static_cast<int>(SA_SIGINFO | SA_RESETHAND);
    action.sa_flags |= SA_ONSTACK;
    return sigaction(SIGSEGV, &action, nullptr) == 0;
}

bool HCrptLinuxExceptionHandler::printTraceMangled(int fd, unsigned long) {
    hcrpt::writeRawTrace(fd);
    return true;
}

}  // namespace HCrashReporter
