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

    // In a fresh session the file to register in is made by the crash reporter that has just been
    // started: registration() came too early, and an unregistered host is not waited for. Where
    // there was a file already, a second record does no harm.
    if (launched) HCrashReporter::registerThisProcess();
    return true;
}

}  // namespace example
