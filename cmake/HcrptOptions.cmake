# Build options, language level, warnings, hardening and sanitizers of every target.

option(HCRPT_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(HCRPT_BUILD_EXAMPLES "Build the example host application" ${PROJECT_IS_TOP_LEVEL})
option(HCRPT_BUILD_REPORT_SERVER "Build the report server's CGI program" ${PROJECT_IS_TOP_LEVEL})
option(HCRPT_INSTALL "Make install rules" ${PROJECT_IS_TOP_LEVEL})
option(HCRPT_WERROR "Treat warnings as errors" OFF)
option(HCRPT_BUILD_FUZZERS "Build the fuzz targets; needs clang" OFF)
option(HCRPT_BUILD_BENCHMARKS "Build the benchmarks; needs Google Benchmark" OFF)
option(HCRPT_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(HCRPT_COVERAGE "Build with coverage counters (GCC)" OFF)
set(HCRPT_PLATFORM_LIBRARY "" CACHE FILEPATH
    "The common platform library to link; empty builds the POSIX one of platform/posix")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# This target has all private compile and link flags of the project.
add_library(hcrpt_flags INTERFACE)
target_compile_options(hcrpt_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    # The unwinder needs tables for every function; frame pointers keep every frame in a trace.
    -fasynchronous-unwind-tables -fno-omit-frame-pointer
    $<$<BOOL:${HCRPT_WERROR}>:-Werror>)
# Immediate binding: resolving a lazily bound symbol needs about 3 KiB of stack, which the 8 KiB
# alternate signal stack cannot spare.
target_link_options(hcrpt_flags INTERFACE -Wl,-z,relro -Wl,-z,now)

if(HCRPT_SANITIZE)
    # Contract: the crash-time arena's blocks are not aligned, so UBSan's alignment check is off.
    # The vptr check needs type information that hidden symbols do not give across libraries.
    target_compile_options(hcrpt_flags INTERFACE
        -fsanitize=address,undefined -fno-sanitize=alignment,vptr -fno-sanitize-recover=undefined
        # GCC warns wrongly in instrumented code, such as that of std::regex.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(hcrpt_flags INTERFACE -fsanitize=address,undefined)
endif()

if(HCRPT_COVERAGE)
    # Each process writes its counters into a directory of its own: processes that share files would
    # complain of each other's, into an output that a test compares. scripts/coverage adds them up.
    target_compile_options(hcrpt_flags INTERFACE --coverage -fprofile-update=atomic
        -fprofile-dir=${CMAKE_BINARY_DIR}/counters/%p)
    target_compile_definitions(hcrpt_flags INTERFACE HCRPT_COVERAGE)
    target_link_options(hcrpt_flags INTERFACE --coverage)
endif()

if(HCRPT_BUILD_FUZZERS)
    target_compile_options(hcrpt_flags INTERFACE -fsanitize=fuzzer-no-link
        -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/sanitizer-ignorelist.txt)
endif()

# The build tree has the layout of an installation, so that programs find each other there.
set(HCRPT_ROOT_DIR ${CMAKE_BINARY_DIR}/root)
set(HCRPT_BIN_SUBDIR bin/unwrapped/lnx64.o)
set(HCRPT_LIB_SUBDIR lib/lnx64.o)
set(HCRPT_LIB_RPATH "$ORIGIN/../../../${HCRPT_LIB_SUBDIR}:$ORIGIN")
