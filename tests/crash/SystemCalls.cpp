#include "crash/SystemCalls.h"

#include <fcntl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <map>

namespace crash_test {
namespace {

struct Kind {
    const char* name;
    std::vector<int> errors;
};

const std::map<long, Kind> kKinds = {
    {SYS_openat, {"openat", {EINTR, EACCES, EMFILE}}},  // ENOSPC where it makes a file
    {SYS_read, {"read", {EINTR, EIO}}},
    {SYS_write, {"write", {EINTR, ENOSPC}}},
    {SYS_writev, {"writev", {EINTR, ENOSPC}}},
    {SYS_fsync, {"fsync", {EINTR, ENOSPC}}},
    {SYS_ftruncate, {"ftruncate", {EINTR, EIO}}},
    {SYS_lseek, {"lseek", {EINVAL}}},
    {SYS_close, {"close", {EINTR, ENOSPC}}},
    {SYS_newfstatat, {"newfstatat", {EACCES}}},
    {SYS_faccessat2, {"faccessat2", {EACCES}}},
    {SYS_mkdir, {"mkdir", {ENOSPC, EACCES}}},
    {SYS_rename, {"rename", {ENOSPC, EACCES}}},
    {SYS_renameat, {"renameat", {ENOSPC, EACCES}}},
    {SYS_fchmod, {"fchmod", {EPERM}}},
    {SYS_fcntl, {"fcntl", {EINVAL}}},
    {SYS_getcwd, {"getcwd", {EACCES}}},
    {SYS_poll, {"poll", {EINTR, ENOMEM}}},
    {SYS_clock_nanosleep, {"clock_nanosleep", {EINTR}}},
    {SYS_clone, {"clone", {EAGAIN}}},
    {SYS_clone3, {"clone3", {EAGAIN}}},
    {SYS_wait4, {"wait4", {EINTR, ECHILD}}},
    {SYS_execve, {"execve", {EACCES, EMFILE}}},
    {SYS_pipe2, {"pipe2", {EMFILE}}},
    {SYS_dup2, {"dup2", {EBUSY}}},
    {SYS_mmap, {"mmap", {ENOMEM}}},
    {SYS_prlimit64, {"prlimit64", {EPERM}}},
    {SYS_prctl, {"prctl", {EPERM}}},
    {SYS_timer_create, {"timer_create", {EAGAIN}}},
    {SYS_process_vm_readv, {"process_vm_readv", {EPERM}}},
    {SYS_uname, {"uname", {EFAULT}}},
    // These fail for arguments that make no sense, if at all.
    {SYS_getpid, {"getpid", {}}},
    {SYS_geteuid, {"geteuid", {}}},
    {SYS_umask, {"umask", {}}},
    {SYS_gettid, {"gettid", {}}},
    {SYS_rt_sigprocmask, {"rt_sigprocmask", {}}},
    {SYS_rt_sigaction, {"rt_sigaction", {}}},
    {SYS_setitimer, {"setitimer", {}}},
    {SYS_timer_settime, {"timer_settime", {}}},
    {SYS_sigaltstack, {"sigaltstack", {}}},
    {SYS_munmap, {"munmap", {}}},
    {SYS_exit_group, {"exit_group", {}}},
};

const std::map<int, const char*> kErrors = {
    {EINTR, "EINTR"},   {ENOSPC, "ENOSPC"}, {EACCES, "EACCES"}, {EMFILE, "EMFILE"},
    {EIO, "EIO"},       {EINVAL, "EINVAL"}, {EPERM, "EPERM"},   {ENOMEM, "ENOMEM"},
    {EAGAIN, "EAGAIN"}, {ECHILD, "ECHILD"}, {EFAULT, "EFAULT"}, {EBUSY, "EBUSY"},
};

bool makesFile(const Call& call) {
    return call.number == SYS_openat && (call.arguments[2] & O_CREAT) != 0;
}

bool movesBytes(const Call& call) {
    return call.number == SYS_read || call.number == SYS_write || call.number == SYS_writev;
}

}  // namespace

std::string nameOfCall(const Call& call) {
    const auto kind = kKinds.find(call.number);
    return kind == kKinds.end() ? "" : kind->second.name;
}

std::string nameOfFault(const Fault& fault) {
    return fault.error ? kErrors.at(*fault.error) : "short";
}

std::vector<Fault> possibleFaults(const std::vector<Call>& calls, std::size_t index) {
    const Call& call = calls[index];
    std::vector<Fault> faults;
    for (const int error : kKinds.at(call.number).errors) faults.push_back({index, error, 0});
    if (makesFile(call)) faults.push_back({index, ENOSPC, 0});
    if (movesBytes(call) && call.result > 1) faults.push_back({index, std::nullopt, call.result});
    return faults;
}

}  // namespace crash_test
