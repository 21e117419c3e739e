# What the code that runs right after a fatal signal may call: reviewed, so that neither the heap nor
# a lock that the dead thread may hold creeps in. Locks: stdout's is only tried. backtrace(),
# backtrace_symbols_fd(), dladdr1() and _Unwind_Backtrace() take the loader's, in a child that is
# ended when it hangs.

# Without effect beyond their arguments; the compiler calls some by itself.
set(plain strlen strchr strcspn memcpy memset memmove __errno_location
    __stack_chk_fail _Unwind_Resume __gxx_personality_v0)
# Of this library, each checked in its own place: the other files of the list, or reviewed with
# their callers.
set(own "^_ZNK?(5hcrpt|14HCrashReporter|14HCrashRptUtils5sleep|16HCrptResourceMgr|6HUTEnv6getPid)")

# signal_safe_symbols(<file> <symbol>...)
function(signal_safe_symbols file)
    add_test(NAME SignalSafeSymbols.${file}
        COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} "-DALLOWED=${plain};${ARGN}" "-DOWN=${own}"
            "-DOBJECT=$<FILTER:$<TARGET_OBJECTS:hcrpt_capture_objects>,INCLUDE,/${file}\\.cpp>"
            -P ${PROJECT_SOURCE_DIR}/tests/utils/CheckUndefinedSymbols.cmake)
    set_tests_properties(SignalSafeSymbols.${file} PROPERTIES LABELS unit)
endfunction()

signal_safe_symbols(Watchdog _exit pthread_sigmask setitimer sigaction sigaddset sigemptyset
    sigfillset syscall clock_gettime)
# prepare() runs at start-up.
signal_safe_symbols(CrashClaim syscall nanosleep mmap madvise sysconf pthread_atfork __dso_handle
    __register_atfork)
signal_safe_symbols(FurtherSignals pthread_sigmask sigaction sigfillset sigdelset syscall)
signal_safe_symbols(ProcessCopy _exit _Fork sigaction sigprocmask sigfillset syscall stdout ftrylockfile funlockfile
    __fpurge)
signal_safe_symbols(StandardDescriptors fcntl open)
signal_safe_symbols(CrashOutput poll stdout ftrylockfile funlockfile fileno_unlocked __fpending)
signal_safe_symbols(CrashHandler _exit pthread_setcancelstate getrlimit setrlimit umask)
signal_safe_symbols(CrashStack mmap mprotect sysconf)
signal_safe_symbols(ModuleLines open close)
signal_safe_symbols(RawTrace open close getpid lseek ftruncate fsync backtrace)
signal_safe_symbols(FrameLines backtrace_symbols_fd dladdr1 writev)
signal_safe_symbols(Interruption memcmp _Unwind_Backtrace _Unwind_GetCFA _Unwind_GetIP)
# The string, a short one without memory of its own, is for getHandler(), which is asked only where
# no handler has been made.
signal_safe_symbols(FirstTrace _dl_find_object fsync close fstat fchmod readlink pthread_sigmask
    sigdelset sigfillset)
signal_safe_symbols(TraceFile open)
signal_safe_symbols(ModuleList _dl_find_object)
signal_safe_symbols(FrameChain _Unwind_Find_FDE _dl_find_object)
signal_safe_symbols(StackTraceTxtLog close _ZdlPv _ZdlPvm
    _ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE10_M_disposeEv)
signal_safe_symbols(StorePath getenv mkdir)
signal_safe_symbols(BadCallTarget)
signal_safe_symbols(SafeMemory getpid process_vm_readv)
# mmap(), mprotect() and stpcpy() make the copy at start-up.
signal_safe_symbols(Environment environ getenv mmap mprotect stpcpy)
