/// @file
/// Makes the crash reporter independent of the host that started it.
#pragma once

namespace crash_reporter {

/// Leaves behind what a process inherits from a design application and what would harm the crash
/// reporter: open descriptors (they would keep files, pipes and ports of the host open), the
/// terminal's session (closing it would end the reporter), signal dispositions and mask (an ignored
/// SIGCHLD makes system() report failure), library paths and preloads (they break a system's own
/// programs), a lax umask (reports are private). Standard input becomes /dev/null.
/// Call it before anything is opened.
void daemonize();

}  // namespace crash_reporter
