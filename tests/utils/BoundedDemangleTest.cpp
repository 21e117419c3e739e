#include <cxxabi.h>
#include <gtest/gtest.h>
#include <link.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/ScopedFault.h"
#include "utils/BoundedDemangle.h"

using namespace test_support;

namespace {

// A bound on hanging, not on speed.
constexpr std::chrono::seconds kDeadline(55);
constexpr std::size_t kHugeLength = 100000000;  // bytes

/// Number of a substitution as names write it: S_, S0_, ... S9_, SA_, ...
std::string substitution(int index) {
    if (index == 0) return "S_";
    const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string number;
    for (int rest = index - 1;; rest /= 36) {
        number.insert(number.begin(), digits[rest % 36]);
        if (rest < 36) return "S" + number + "_";
    }
}

/// A<A<A<int, int>, A<int, int> >, ...>: each level names the one below twice.
std::string doublingType(int levels) {
    std::string type = "1AI";
    for (int i = 1; i < levels; ++i) type += "S_I";
    type += "iiE";
    for (int i = 1; i < levels; ++i) type += substitution(i) + "E";
    return type;
}

std::string doublingName(int levels) {
    return "_Z1f" + doublingType(levels);
}

/// Its pattern is searched for a pack, in all its 2^levels parts, before anything is written.
std::string silentlyDoublingName(int levels) {
    return "_Z1fIJEEvDp" + doublingType(levels);
}

std::string readable(const std::string& name) {
    const hcrpt::DemangledName result = hcrpt::demangleName(name.c_str());
    return result == nullptr ? "(none)" : result.get();
}

std::string byTheDemanglerItself(const std::string& name) {
    int status = 0;
    const hcrpt::DemangledName result(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status));
    return status != 0 || result == nullptr ? "(none)" : result.get();
}

template <typename Type>
const Type* pointerTo(std::uintptr_t address) {
    return reinterpret_cast<const Type*>(address);  // NOLINT(performance-no-int-to-ptr): ELF's form
}

/// All dynamic symbol names of this process's program and libraries.
std::vector<std::string> symbolNames() {
    std::vector<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* object, std::size_t, void* into) {
            if (std::strstr(object->dlpi_name, "vdso") != nullptr) return 0;
            const char* texts = nullptr;
            std::size_t size = 0;
            for (int i = 0; i < object->dlpi_phnum; ++i) {
                if (object->dlpi_phdr[i].p_type != PT_DYNAMIC) continue;
                for (const auto* entry =
                         pointerTo<ElfW(Dyn)>(object->dlpi_addr + object->dlpi_phdr[i].p_vaddr);
                     entry->d_tag != DT_NULL; ++entry) {
                    if (entry->d_tag == DT_STRTAB) texts = pointerTo<char>(entry->d_un.d_ptr);
                    if (entry->d_tag == DT_STRSZ) size = entry->d_un.d_val;
                }
            }
            for (const char* at = texts; texts != nullptr && at < texts + size;
                 at += std::strlen(at) + 1)
                static_cast<std::vector<std::string>*>(into)->emplace_back(at);
            return 0;
        },
        &names);
    return names;
}

}  // namespace

TEST(BoundedDemangleTest, NamesOfRealLibrariesReadAsTheDemanglerHasThem) {
    int demangled = 0;
    for (const std::string& name : symbolNames()) {
        const std::string expected = byTheDemanglerItself(name);
        ASSERT_EQ(expected, readable(name)) << name;
        if (expected != "(none)") ++demangled;
    }
    EXPECT_GT(demangled, 3000);  // the C++ library alone has more
}

TEST(BoundedDemangleTest, NamesThatExpandReadAsTheDemanglerHasThem) {
    for (int levels = 1; levels <= 15; ++levels) {
        const std::string expected = byTheDemanglerItself(doublingName(levels));
        ASSERT_NE(expected, "(none)");
        // Without ASSERT_EQ's print of hundreds of kilobytes.
        EXPECT_TRUE(readable(doublingName(levels)) == expected) << levels;
        EXPECT_TRUE(readable(silentlyDoublingName(levels)) ==
                    byTheDemanglerItself(silentlyDoublingName(levels)))
            << levels;
    }
}

TEST(BoundedDemangleTest, NoNameIsNoneWhereverItIsLookedAt) {
    EXPECT_EQ(readable("abort"), "(none)");
    EXPECT_EQ(readable(""), "(none)");
    EXPECT_EQ(readable(doublingName(14) + "?"), "(none)");
    EXPECT_EQ(readable(doublingName(30) + "?"), "(none)");
}

TEST(BoundedDemangleTest, ReadableFormOfMoreThanAMebibyteIsNotGiven) {
    const std::string longest = byTheDemanglerItself(doublingName(16));
    ASSERT_LT(longest.size(), hcrpt::kMaxDemangledName);
    EXPECT_TRUE(readable(doublingName(16)) == longest);
    ASSERT_GT(byTheDemanglerItself(doublingName(17)).size(), hcrpt::kMaxDemangledName);
    EXPECT_EQ(readable(doublingName(17)), "(none)");
}

TEST(BoundedDemangleTest, NameThatExpandsForEverIsGivenUp) {
    ChildProcess child = ChildProcess::fork([] {
        const bool none = readable(doublingName(40)) == "(none)" &&
                          readable(doublingName(100)) == "(none)" &&
                          readable(silentlyDoublingName(40)) == "(none)" &&
                          readable(silentlyDoublingName(90)) == "(none)";
        return none ? 0 : 1;
    });
    EXPECT_EQ(child.wait(kDeadline), exitedWith(0));
}

TEST(BoundedDemangleTest, TraceFullOfSuchNamesIsGivenUpWithinSeconds) {
    ChildProcess child = ChildProcess::fork([] {
        for (int i = 0; i < 200; ++i)
            if (readable(silentlyDoublingName(40 + i % 50)) != "(none)") return 1;
        // Names that compilers make are read nevertheless.
        return readable(doublingName(12)) == byTheDemanglerItself(doublingName(12)) ? 0 : 2;
    });
    EXPECT_EQ(child.wait(kDeadline), exitedWith(0));
}

TEST(BoundedDemangleTest, NameThatExpandsForEverTakesLittleMemory) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "AddressSanitizer reserves more addresses than any limit allows";
#endif
    ChildProcess child = ChildProcess::fork([] {
        for (const std::string& name : {doublingName(40), silentlyDoublingName(40)})
            if (readable(name) != "(none)") return 1;
        rusage children = {};
        getrusage(RUSAGE_CHILDREN, &children);
        constexpr long kMuch = 512L * 1024;  // KiB
        return children.ru_maxrss < kMuch ? 0 : 2;
    });
    EXPECT_EQ(child.wait(kDeadline), exitedWith(0));
}

TEST(BoundedDemangleTest, OverlongNamesAreNotLookedAt) {
    const seams::ScopedSeam noFork(seams::onFork, [] {
        ADD_FAILURE() << "looked at in a child";
        return -1;
    });
    // The demangler's need of stack grows with the name: this one would overflow it.
    const std::string name = "_Z1f" + std::string(kHugeLength, 'P') + "i";
    EXPECT_EQ(readable(name), "(none)");
}

/// How many children the demangling of a name takes.
int childrenFor(const std::string& name) {
    int children = 0;
    const seams::ScopedSeam seam(seams::onFork, [&] {
        ++children;
        errno = EAGAIN;
        return -1;
    });
    readable(name);
    return children;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

/// A name of the given length that holds a text so many times.
std::string nameHolding(const std::string& text, int times, std::size_t length) {
    std::string name = "_Z1f" + repeated(text, times);
    EXPECT_LE(name.size(), length);
    name.resize(length, 'i');
    return name;
}

TEST(BoundedDemangleTest, ANameThatMayHaveMoreThanSixtyFourThousandPartsGetsAChild) {
    // Each reference may stand for all that comes before it: 64 * 2^10 is the most.
    for (const char* reference :
         {"S_", "S0_", "S9_", "SA_", "SZ_", "SL_", "T_", "T0_", "T9_", "TA_", "TZ_", "TL0_"}) {
        EXPECT_EQ(childrenFor(nameHolding(reference, 10, 64)), 0) << reference;
        EXPECT_EQ(childrenFor(nameHolding(reference, 10, 65)), 1) << reference;
        EXPECT_EQ(childrenFor(nameHolding(reference, 11, 64)), 1) << reference;
    }
    // A pack expansion multiplies the parts by the length of the name.
    for (const char* expansion : {"Dp", "sp"}) {
        EXPECT_EQ(childrenFor(nameHolding(expansion, 1, 256)), 0) << expansion;
        EXPECT_EQ(childrenFor(nameHolding(expansion, 1, 257)), 1) << expansion;
        EXPECT_EQ(childrenFor(nameHolding(expansion, 2, 40)), 0) << expansion;
        EXPECT_EQ(childrenFor(nameHolding(expansion, 2, 41)), 1) << expansion;
    }
}

TEST(BoundedDemangleTest, LongerNamesThanThirtyTwoKibibytesAreNotTried) {
    EXPECT_EQ(childrenFor(nameHolding("S_", 20, 32768)), 1);
    EXPECT_EQ(childrenFor(nameHolding("S_", 20, 32769)), 0);
}

TEST(BoundedDemangleTest, LettersThatAreNoReferencesMakeNoParts) {
    for (const char* other : {"Sa", "S/", "S:", "S@", "S[", "A_", "Ta", "i0", "pp", "Ds", "sD"})
        EXPECT_EQ(childrenFor(nameHolding(other, 30, 64)), 0) << other;
}

TEST(BoundedDemangleTest, ResultDoesNotDependOnTheFateOfSigchld) {
    const std::string expected = byTheDemanglerItself(doublingName(12));
    signal(SIGCHLD, SIG_IGN);
    EXPECT_TRUE(readable(doublingName(12)) == expected);
    EXPECT_EQ(readable(doublingName(40)), "(none)");
    signal(SIGCHLD, SIG_DFL);
}

TEST(BoundedDemangleTest, SignalsCutNoName) {
    const std::string name = doublingName(12);
    const ScopedFault interruptedRead(seams::onRead, EINTR);
    const ScopedFault interruptedWait(seams::onWaitpid, EINTR);
    EXPECT_EQ(readable(name), byTheDemanglerItself(name));
    EXPECT_EQ(interruptedRead.met(), 1) << "a name that needs a child";
    EXPECT_EQ(interruptedWait.met(), 1);
}

TEST(BoundedDemangleTest, NoFileAndNoChildIsLeft) {
    const auto lowestFree = [] {
        const int descriptor = dup(STDERR_FILENO);
        close(descriptor);
        return descriptor;
    };
    const int before = lowestFree();
    readable(doublingName(12));
    readable(doublingName(40));
    EXPECT_EQ(lowestFree(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(BoundedDemangleTest, OrdinaryNamesNeedNoChild) {
    const seams::ScopedSeam noFork(seams::onFork, [] {
        ADD_FAILURE() << "forked";
        return -1;
    });
    for (const char* name :
         {"_ZN3foo3barEv",
          "_ZNSt6vectorISt10unique_ptrI3FooSt14default_deleteIS1_EESaIS4_EE9push_backEOS4_",
          "_ZNSt3mapISsiSt4lessISsESaISt4pairIKSsiEEE2atERS3_"})
        EXPECT_EQ(readable(name), byTheDemanglerItself(name));
}

TEST(BoundedDemangleTest, WithoutAPipeNoChildIsMade) {
    ChildProcess child = ChildProcess::fork([] {
        const rlimit none = {0, 0};
        if (setrlimit(RLIMIT_NOFILE, &none) != 0) return 2;
        return childrenFor(doublingName(14));
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(BoundedDemangleTest, WithoutAChildANameThatMayExpandIsNotGiven) {
    const seams::ScopedSeam noFork(seams::onFork, [] { return -1; });
    EXPECT_EQ(readable(doublingName(14)), "(none)");
    EXPECT_EQ(readable("_Z1fv"), "f()");
}
