// The demangler with arbitrary names: its limits, and its results within them.
#include <cxxabi.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>

#include "fuzz/support/Fuzz.h"
#include "utils/BoundedDemangle.h"

namespace {

constexpr double kMaxTime = 5;  // seconds of processor time, sanitizers included

double processorTime() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage = {};
        getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime})
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return seconds;
}

/// Returns true when the name has no element that could repeat one of its parts.
bool expandsNowhere(const std::string& name) {
    return name.size() <= 1000 && name.find_first_of("STD") == std::string::npos &&
           !fuzz::contains(name, "sp");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string name = fuzz::text(data, size).c_str();
    const double before = processorTime();
    const hcrpt::DemangledName readable = hcrpt::demangleName(name.c_str());
    FUZZ_REQUIRE(processorTime() - before < kMaxTime);
    FUZZ_REQUIRE(readable == nullptr || name.size() <= hcrpt::kMaxMangledName);
    FUZZ_REQUIRE(readable == nullptr || std::strlen(readable.get()) <= hcrpt::kMaxDemangledName);

    // The C++ library's demangler is called only for names for which it returns: it has just
    // returned, or nothing in the name expands.
    if (readable == nullptr && !expandsNowhere(name)) return 0;
    int status = 0;
    const hcrpt::DemangledName expected(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status));
    if (readable == nullptr) {
        FUZZ_REQUIRE(status != 0 || expected == nullptr);
    } else {
        FUZZ_REQUIRE(status == 0 && expected != nullptr);
        FUZZ_REQUIRE(std::strcmp(readable.get(), expected.get()) == 0);
    }
    return 0;
}
