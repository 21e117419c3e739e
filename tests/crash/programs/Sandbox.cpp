#include "crash/programs/Sandbox.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>

namespace sandbox {
namespace {

__u32 actionFor(Answer answer) {
    switch (answer) {
        case Answer::kill:
            return SECCOMP_RET_KILL_PROCESS;
        case Answer::trap:
            return SECCOMP_RET_TRAP;
        case Answer::error:
            break;
    }
    return SECCOMP_RET_ERRNO | EPERM;
}

void install(const std::vector<long>& calls, __u32 onMatch, __u32 otherwise) {
    std::vector<sock_filter> code;
    code.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
    for (const long call : calls) {
        code.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(call), 0, 1));
        code.push_back(BPF_STMT(BPF_RET | BPF_K, onMatch));
    }
    code.push_back(BPF_STMT(BPF_RET | BPF_K, otherwise));
    const sock_fprog filter = {static_cast<unsigned short>(code.size()), code.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        _exit(2);
}

}  // namespace

void allowOnly(const std::vector<long>& calls, Answer answer) {
    install(calls, SECCOMP_RET_ALLOW, actionFor(answer));
}

void forbid(const std::vector<long>& calls, Answer answer) {
    install(calls, actionFor(answer), SECCOMP_RET_ALLOW);
}

void failForbiddenCalls() {
    struct sigaction action = {};
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    action.sa_sigaction = [](int, siginfo_t*, void* context) {
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RAX] = -EPERM;
    };
    sigaction(SIGSYS, &action, nullptr);
}

}  // namespace sandbox
