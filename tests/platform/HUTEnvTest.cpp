#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <set>
#include <thread>

#include "HUTBackend.h"
#include "HUTEnv.h"
#include "HUTPlatform.h"
#include "posix/FactParsers.h"
#include "support/ChildProcess.h"
#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

const unsigned int kUid = getuid();

// --- Machine and user ---

TEST(HUTEnvTest, TheHostNameIsTheKernels) {
    struct utsname system = {};
    ASSERT_EQ(uname(&system), 0);
    EXPECT_EQ(HUTEnv::getHostName(), facts::hostName(system.nodename));
}

TEST(HUTEnvTest, TheUserNameIsThatOfTheUidInThePasswdFile) {
    const std::string name = facts::accountOf(kUid, test_support::readFile("/etc/passwd")).name;
    if (!name.empty()) {
        EXPECT_EQ(HUTEnv::getUserName(), name);
    }
    EXPECT_FALSE(HUTEnv::getUserName().empty());
}

TEST(HUTEnvTest, ALaterChangeOfTheEnvironmentDoesNotChangeTheUser) {
    const std::string before = HUTEnv::getUserName();
    const ScopedEnvVar logName("LOGNAME", "somebody"), user("USER", "somebody");
    EXPECT_EQ(HUTEnv::getUserName(), before);
}

// --- Inside the maker's network ---

struct FakeDomain : HUTBackend {
    explicit FakeDomain(const std::string& name) : m_name(name) { HUTBackend::replace(this); }
    ~FakeDomain() override { HUTBackend::replace(nullptr); }
    std::string domainName() override { return m_name; }
    std::string m_name;
};

TEST(InsideNetworkTest, TheDomainDecidesWhenTheVariableIsUnset) {
    const ScopedEnvVar unset("HUT_INSIDE_NETWORK", std::nullopt);
    {
        const FakeDomain inside("lab." HCRPT_DOMAIN_NAME);
        EXPECT_TRUE(HUTEnv::isHostInsideVeltra());
    }
    const FakeDomain outside("elsewhere.example");
    EXPECT_FALSE(HUTEnv::isHostInsideVeltra());
}

TEST(InsideNetworkTest, TheVariableOverridesTheDomain) {
    ScopedEnvVar variable("HUT_INSIDE_NETWORK", "true");
    const FakeDomain outside("elsewhere.example");
    EXPECT_TRUE(HUTEnv::isHostInsideVeltra());
    const FakeDomain inside(HCRPT_DOMAIN_NAME);
    variable.set("false");
    EXPECT_FALSE(HUTEnv::isHostInsideVeltra());
}

TEST(InsideNetworkTest, OtherValuesOfTheVariableDoNotCount) {
    ScopedEnvVar variable("HUT_INSIDE_NETWORK", std::nullopt);
    for (const char* value : {"", "TRUE", "1", "true ", "no"}) {
        variable.set(value);
        {
            const FakeDomain outside("elsewhere.example");
            EXPECT_FALSE(HUTEnv::isHostInsideVeltra()) << value;
        }
        const FakeDomain inside(HCRPT_DOMAIN_NAME);
        EXPECT_TRUE(HUTEnv::isHostInsideVeltra()) << value;
    }
}

// --- Process ---

TEST(HUTEnvTest, TheProcessIdIsAskedAfresh) {
    EXPECT_EQ(HUTEnv::getPid(), getpid());
    auto child = ChildProcess::fork([] { return HUTEnv::getPid() == getpid() ? 0 : 1; });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(HUTEnvTest, TheWorkingDirectoryIsAskedAfresh) {
    const TempDir one, other;
    const test_support::ScopedWorkingDirectory inside(one.path());
    EXPECT_EQ(HUTEnv::getPWD(), one.path());
    std::filesystem::current_path(other.path());
    EXPECT_EQ(HUTEnv::getPWD(), other.path());
}

TEST(HUTEnvTest, AWorkingDirectoryThatIsGoneIsEmpty) {
    const TempDir dir;
    auto child = ChildProcess::fork([&] {
        if (chdir(dir.path().c_str()) != 0 || rmdir(dir.path().c_str()) != 0) return 2;
        return HUTEnv::getPWD().empty() ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(HUTEnvTest, EachThreadHasItsOwnResultByReference) {
    const std::string& own = HUTEnv::getPWD();
    const void* others = nullptr;
    std::thread([&] { others = &HUTEnv::getPWD(); }).join();
    EXPECT_NE(others, &own);
    EXPECT_EQ(&HUTEnv::getPWD(), &own);
}

TEST(HUTEnvTest, ResultsByReferenceOfOneThreadDoNotDisturbEachOther) {
    const ScopedEnvVar root("HUT_APP_ROOT", "/r"), data("HUT_APP_DATA_DIR", "/dev/null/d"),
        tmp("HUT_TMP_DIR", "/t");
    const std::string& r = HUTEnv::getTUVAppRoot();
    const std::string& d = HUTEnv::getTUVAppDataDir();
    const std::string& t = HUTEnv::getTUVTmpDir();
    HUTEnv::getPWD();
    EXPECT_EQ(r, "/r");
    EXPECT_EQ(d, "/dev/null/d");
    EXPECT_EQ(t, "/t");
}

TEST(HUTEnvTest, FactsCanBeAskedForInExitRoutines) {
    const TempDir dir;
    ChildProcess::Options options;
    options.workingDirectory = dir.path();
    auto child = ChildProcess::exec({PRINT_FACTS_PROGRAM, "in-exit-routine"}, options);
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), HUTEnv::getHostName() + "|" + HUTEnv::getUserName() + "|" +
                                          dir.path() + "|" + std::to_string(child.pid()) +
                                          "|15|\n");
}

TEST(HUTEnvTest, TheProgramNameIsThatOfTheRunningFileNotOfALinkToIt) {
    const TempDir dir;
    ASSERT_EQ(symlink(PRINT_FACTS_PROGRAM, (dir / "link").c_str()), 0);
    auto child = ChildProcess::exec({dir / "link", "program-name"});
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "print_facts\n");
}

// Both end in reports, and no JSON parser reads a report with other bytes.
TEST(HUTEnvTest, ProgramNameAndCommandLineAreUtf8WhateverTheirBytes) {
    const TempDir dir;
    const std::string path = dir / "caf\xe9";
    std::filesystem::copy_file(PRINT_FACTS_PROGRAM, path);
    auto name = ChildProcess::exec({path, "program-name"});
    ASSERT_EQ(name.wait(), exitedWith(0));
    EXPECT_EQ(name.standardOutput(), "caf\xef\xbf\xbd\n");
    auto line = ChildProcess::exec({PRINT_FACTS_PROGRAM, "command-line", "\xff \xc3\xa9"});
    ASSERT_EQ(line.wait(), exitedWith(0));
    EXPECT_EQ(line.standardOutput(),
              std::string(PRINT_FACTS_PROGRAM) + " command-line \xef\xbf\xbd \xc3\xa9\n");
}

// An update may replace a program's file at any time; the kernel then adds a mark to its name.
TEST(HUTEnvTest, AProgramWhoseFileIsGoneKeepsItsName) {
    const TempDir dir;
    const std::string path = dir / "host";
    std::filesystem::copy_file(PRINT_FACTS_PROGRAM, path);
    auto child = ChildProcess::fork([&path] {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        unlink(path.c_str());
        std::string arguments[] = {path, "program-name"};
        char* const vector[] = {arguments[0].data(), arguments[1].data(), nullptr};
        fexecve(file, vector, environ);
        return 127;
    });
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "host\n");
}

TEST(HUTEnvTest, AFileThatIsNamedLikeAGoneOneKeepsItsName) {
    const TempDir dir;
    std::filesystem::copy_file(PRINT_FACTS_PROGRAM, dir / "host (deleted)");
    auto child = ChildProcess::exec({dir / "host (deleted)", "program-name"});
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "host (deleted)\n");
}

TEST(HUTEnvTest, TheCommandLineIsAllArguments) {
    auto child = ChildProcess::exec({PRINT_FACTS_PROGRAM, "command-line", "-source", "a b.tcl"});
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), PRINT_FACTS_PROGRAM " command-line -source a b.tcl\n");
}

TEST(HUTEnvTest, TheRootIsTheInstallationOfTheRunningProgram) {
    const TempDir dir;
    const std::string programs = dir / "bin/unwrapped/lnx64.o";
    std::filesystem::create_directories(programs);
    std::filesystem::copy_file(PRINT_FACTS_PROGRAM, programs + "/host");
    std::filesystem::copy_file(PRINT_FACTS_PROGRAM, dir / "host");
    ChildProcess::Options options;
    options.unset = {"HUT_APP_ROOT"};
    auto installed = ChildProcess::exec({programs + "/host", "app-root"}, options);
    auto elsewhere = ChildProcess::exec({dir / "host", "app-root"}, options);
    ASSERT_EQ(installed.wait(), exitedWith(0));
    ASSERT_EQ(elsewhere.wait(), exitedWith(0));
    EXPECT_EQ(installed.standardOutput(), dir.path() + "\n");
    EXPECT_EQ(elsewhere.standardOutput(), dir.path() + "\n");
}

// --- Product ---

TEST(ProductTest, NothingIsKnownBeforeTheHostTells) {
    EXPECT_EQ(HUTEnv::getProductName(), "");
    EXPECT_EQ(HUTEnv::getProductVersion(), "");
    EXPECT_EQ(HUTEnv::getBuildNumber(), 0);
    EXPECT_EQ(HUTEnv::getBuildDate(), "");
}

TEST(ProductTest, TheHostsLastCallCounts) {
    HUTPlatform::setProduct({"Designer", "4.2", 4711, "2026-11-21"});
    EXPECT_EQ(HUTEnv::getProductName(), "Designer");
    EXPECT_EQ(HUTEnv::getProductVersion(), "4.2");
    EXPECT_EQ(HUTEnv::getBuildNumber(), 4711);
    EXPECT_EQ(HUTEnv::getBuildDate(), "2026-11-21");
    HUTPlatform::setProduct({"Viewer", "1", -1, ""});
    EXPECT_EQ(HUTEnv::getProductName(), "Viewer");
    EXPECT_EQ(HUTEnv::getBuildNumber(), -1);
    HUTPlatform::setProduct({});
}

// --- Time ---

std::string stampOf(std::time_t time) {
    char text[64] = {};
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", std::localtime(&time));
    return text;
}

TEST(TimeStampTest, IsTheLocalTimeInDigits) {
    const std::time_t before = std::time(nullptr);
    std::string stamp = "what was there before";
    HUTEnv::getTimeStamp(stamp);
    std::set<std::string> expected;
    for (std::time_t time = before; time <= std::time(nullptr); ++time)
        expected.insert(stampOf(time));
    EXPECT_EQ(expected.count(stamp), 1u) << stamp;
}

}  // namespace
