// A library whose loading takes longer than any test: the loader's lock is held all that time.
#include <fcntl.h>
#include <unistd.h>

[[gnu::constructor]] void initializeSlowPlugin() {
    constexpr unsigned kLong = 1000;  // seconds
    close(creat("slow-plugin-is-loading", 0600));
    sleep(kLong);
}
