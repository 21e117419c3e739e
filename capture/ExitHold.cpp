#include "capture/ExitHold.h"

#include <pthread.h>

#include <cstdlib>

#include "capture/CrashClaim.h"

namespace hcrpt {
namespace {

using Registration = int (*)(void (*)());

/// A handler is taken off its list before it runs, and a second thread that ends the process goes
/// on with the rest of the list. So it puts itself back for that thread before it waits.
template <Registration putBack>
void hold() {
    if (!CrashClaim::isOfOtherThread()) return;
    // A cancelled thread would leave the wait.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    putBack(&hold<putBack>);
    CrashClaim::awaitEnd();
}

[[maybe_unused]] const int s_last = std::atexit(&hold<&std::atexit>);

}  // namespace

void holdExitWhileCrashing() {
    std::atexit(&hold<&std::atexit>);
    std::at_quick_exit(&hold<&std::at_quick_exit>);
}

}  // namespace hcrpt
