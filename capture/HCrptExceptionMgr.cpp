#include <utility>

#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

// No handler, no installation: the arena was exhausted, which does not happen at start-up.
void install(HCrptExceptionHandlerBase* handler) {
    if (handler != nullptr) handler->install();
}

}  // namespace

HCrptExceptionMgr* HCrptExceptionMgr::get() {
    static HCrptExceptionMgr instance;
    return &instance;
}

HCrptExceptionHandlerBase* HCrptExceptionMgr::getHandler(std::string name) {
    return HCrptExceptionHandlerBase::get(std::move(name));
}

void HCrptExceptionMgr::registerSignalHandlers() {
    install(getHandler(""));
}

void HCrptExceptionMgr::registerSelfSignalHandlers() {
    install(getHandler("Self"));
}

}  // namespace HCrashReporter
