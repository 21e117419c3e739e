/// @file
/// The code that an integrator writes so that an application's crashes are reported.
#pragma once

namespace example {

/// Sets the product's facts in the platform library, registers this process, installs the crash
/// handlers and starts the crash reporter. Call it once, at start-up, before threads are started.
/// @return true when crash reporting is on
bool startCrashReporting();

}  // namespace example
