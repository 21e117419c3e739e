#include <new>

#include "capture/CrashClaim.h"
#include "capture/CrashStack.h"
#include "capture/Environment.h"
#include "capture/ExitHold.h"
#include "capture/FirstTrace.h"
#include "capture/RawTrace.h"
#include "capture/SiblingLock.h"
#include "capture/SiblingTraces.h"
#include "capture/TraceHandOver.h"
#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {

HCrptExceptionHandlerBase* HCrptExceptionHandlerBase::m_handler = nullptr;

HCrptExceptionHandlerBase::HCrptExceptionHandlerBase() {
    HCrptResourceMgr::get();
    // As where the arena cannot be had. Without this stack the crash handler would run into the
    // heap beneath the alternate one.
    if (!hcrpt::CrashStack::reserve()) throw std::bad_alloc();
    hcrpt::CrashClaim::prepare();
    hcrpt::Environment::keep();
    hcrpt::FirstTrace::prepare();
    hcrpt::TraceHandOver::prepare();
    hcrpt::SiblingTraces::prepare();
    hcrpt::SiblingLock::prepare();
    hcrpt::primeRawTrace();
    hcrpt::holdExitWhileCrashing();
}

HCrptExceptionHandlerBase::~HCrptExceptionHandlerBase() = default;

bool HCrptExceptionHandlerBase::printTraceMangled(int, unsigned long) {
    return true;
}

HCrptExceptionHandlerBase* HCrptExceptionHandlerBase::get(std::string name) {
    if (m_handler != nullptr) return m_handler;
    if (name.empty()) {
        if (void* storage = HCrptResourceMgr::allocateMem(sizeof(HCrptLinuxExceptionHandler)))
            m_handler = new (storage) HCrptLinuxExceptionHandler;
    } else if (name == "Self") {
        if (void* storage = HCrptResourceMgr::allocateMem(sizeof(HCrptSelfLinuxExceptionHandler)))
            m_handler = new (storage) HCrptSelfLinuxExceptionHandler;
    }
    return m_handler;
}

}  // namespace HCrashReporter
