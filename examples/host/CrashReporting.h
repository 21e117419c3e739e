/// @file
/// What an integrator writes to have an application's crashes reported.
#pragma once

namespace example {

/// Tells the platform library about the product, registers this process, installs the crash
/// handlers and starts the crash reporter. Once, at start-up, before threads are started.
/// @return whether reporting is on.
bool startCrashReporting();

}  // namespace example
