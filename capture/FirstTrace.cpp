// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/FirstTrace.h"

#include <dlfcn.h>
#include <link.h>
#include <signal.h>
#include <sys/stat.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/TextBuilder.h"
#include "base/WriteAll.h"
#include "capture/TraceFile.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt::FirstTrace {
namespace {

char s_program[1024];  // bytes; a longer path is cut

void writeInterruptedLine(int fd, const Interruption& interruption) {
    const auto address =
        static_cast<std::uintptr_t>(interruption.state->uc_mcontext.gregs[REG_RIP]);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how a register holds it
    void* const instruction = reinterpret_cast<void*>(address);
    ::dl_find_object module = {};
    char buffer[64];
    TextBuilder end(buffer, sizeof buffer);
    if (_dl_find_object(instruction, &module) == 0) {
        const char* const name = module.dlfo_link_map->l_name;
        const char* const path = *name == '\0' ? s_program : name;
        writeAll(fd, path, std::strlen(path));
        end.add("(+").addHex(address - module.dlfo_link_map->l_addr).add(")");
    }
    end.add("[").addHex(address).add("]\n");
    writeAll(fd, end.text(), end.length());
}

// A write beyond the limit of file sizes must fail and not end the process, and what others send
// waits until the crash handler has actions of its own. SIGSYS stays open: a host's handler stands
// in for calls that its sandbox forbids.
void blockSignals() {
    sigset_t signals;
    sigfillset(&signals);
    sigdelset(&signals, SIGSYS);
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

// The host's mask may have denied them, and the file is opened again.
void letOwnerIn(int fd) {
    constexpr mode_t kOwner = S_IRUSR | S_IWUSR;
    struct stat file = {};
    if (fstat(fd, &file) == 0 && (file.st_mode & kOwner) != kOwner)
        fchmod(fd, (file.st_mode | kOwner) & ACCESSPERMS);
}

}  // namespace

void prepare() {
    const ssize_t length = readlink("/proc/self/exe", s_program, sizeof s_program - 1);
    s_program[length > 0 ? length : 0] = '\0';
}

void write(int signal, const Interruption& interruption) {
    if (interruption.state == nullptr) return;
    blockSignals();
    const int fd = openRawTrace();
    if (fd < 0) return;
    writeTraceHeader(fd, signal);
    writeAll(fd, HCrashReporter::partialStackTraceMsg,
             std::strlen(HCrashReporter::partialStackTraceMsg));
    writeInterruptedLine(fd, interruption);
    TEMP_FAILURE_RETRY(fsync(fd));
    // From here on a sandbox may end the process.
    letOwnerIn(fd);
    close(fd);
}

}  // namespace hcrpt::FirstTrace
