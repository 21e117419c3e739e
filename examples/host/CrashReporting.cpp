#include "host/CrashReporting.h"

#include <unistd.h>

#include "HUTPlatform.h"
#include "hcrpt/HCrashReporter.h"

namespace example {

bool startCrashReporting() {
    HUTPlatform::setProduct({"ExampleHost", "1.0", 100, "2026-11-21"});
    if (!HCrashReporter::isEnabled("ExampleHost")) return false;

    HCrashReporter::registration();

    const pid_t self = getpid();
    const bool launched = HCrashReporter::launchCrashReporter();
    if (getpid() != self) _exit(127);  // the copy of this process in which exec failed

    // In a fresh session the crash reporter, which has just been started, creates the registration
    // file. registration() came too early for it, and the crash reporter would not wait for an
    // unregistered host. If the file existed already, the second record does no harm.
    if (launched) HCrashReporter::registerThisProcess();
    return true;
}

}  // namespace example
