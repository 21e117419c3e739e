// Replaces pthread_create(), so that each thread of a host is registered before its own code runs.
// The host needs no change.
#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <new>

#include "hcrpt/HCrashReporter.h"

namespace {

using Routine = void* (*)(void*);
using Create = int (*)(pthread_t*, const pthread_attr_t*, Routine, void*);

struct Start {
    Routine routine;
    void* argument;
};

void* registerAndRun(void* self) {
    const Start start = *static_cast<Start*>(self);
    delete static_cast<Start*>(self);
    // A thread that cannot be registered runs nevertheless.
    HCrashReporter::registerThisThread();
    return start.routine(start.argument);
}

Create realCreate() {
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return real;
}

}  // namespace

extern "C" HCRPT_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                           Routine routine, void* argument) noexcept {
    const Create create = realCreate();
    if (create == nullptr) return EAGAIN;
    Start* const start = new (std::nothrow) Start{routine, argument};
    if (start == nullptr) return create(thread, attributes, routine, argument);
    const int error = create(thread, attributes, &registerAndRun, start);
    if (error != 0) delete start;
    return error;
}
