/// @file
/// The platform library with chosen facts and forced failures.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "HUTBackend.h"

namespace test_support {

/// Stands behind HUTEnv, HUTFile and HUTFork until the end of the scope. A fact that is not chosen
/// has a fixed value that depends neither on the machine nor on its user; file operations are real
/// unless made to fail.
class ScopedFakePlatform : public HUTBackend {
  public:
    ScopedFakePlatform() : m_before(HUTBackend::replace(this)) {}
    ~ScopedFakePlatform() override { HUTBackend::replace(m_before); }
    ScopedFakePlatform(const ScopedFakePlatform&) = delete;
    ScopedFakePlatform& operator=(const ScopedFakePlatform&) = delete;

    // --- Chosen facts; assign to change them. An empty optional leaves the real answer. ---
    std::string fakeHostName = "testhost";
    std::string fakeUserName = "tester";
    std::string fakeDomainName = "test.example";
    bool fakeInsideVeltra = true;
    std::optional<int> fakePid;
    std::optional<std::string> fakeWorkingDirectory;
    std::string fakeProgramName = "testprogram";
    std::string fakeCommandLine = "/opt/test/bin/testprogram -mode batch";
    HUTPlatform::HUTProductInfo fakeProduct = {"Designer", "4.2", 4711, "2026-11-21"};
    std::string fakeTimeStamp = "20261121T054733";
    std::optional<std::string> fakeAppRoot;
    std::optional<std::string> fakeAppDataDir;
    std::optional<std::string> fakeTmpDir;
    std::optional<std::string> fakeDataDir;

    // --- Forced answers: a function that is set decides instead of the real operation. ---
    std::function<bool(const std::string&)> onExists;
    std::function<bool(const std::string&)> onIsDir;
    std::function<bool(const std::string&)> onIsWriteable;
    std::function<bool(const std::string&)> onMkDir;
    std::function<bool(const std::string&)> onMkDirRecursive;
    std::function<bool(const std::string&)> onRm;
    std::function<bool(const std::string&)> onRmRecursive;
    std::function<bool(const std::string&, const std::string&, HUTFile::CopyMode)> onCopyToDir;
    std::function<std::string(const std::string&)> onCanonicalName;
    std::function<int(const std::string& cmdLine, bool throughShell, bool wait, bool inheritOutput,
                      bool inheritInput, bool inheritEnvironment)>
        onLaunch;

    std::string hostName() override { return fakeHostName; }
    std::string userName() override { return fakeUserName; }
    std::string domainName() override { return fakeDomainName; }
    bool isHostInsideVeltra() override { return fakeInsideVeltra; }
    int pid() override { return fakePid ? *fakePid : HUTBackend::pid(); }
    std::string workingDirectory() override {
        return fakeWorkingDirectory ? *fakeWorkingDirectory : HUTBackend::workingDirectory();
    }
    std::string programName() override { return fakeProgramName; }
    std::string commandLine() override { return fakeCommandLine; }
    HUTPlatform::HUTProductInfo product() override { return fakeProduct; }
    std::string timeStamp() override { return fakeTimeStamp; }
    std::string appRoot() override { return fakeAppRoot ? *fakeAppRoot : HUTBackend::appRoot(); }
    std::string appDataDir() override {
        return fakeAppDataDir ? *fakeAppDataDir : HUTBackend::appDataDir();
    }
    std::string tmpDir() override { return fakeTmpDir ? *fakeTmpDir : HUTBackend::tmpDir(); }
    std::string dataDir(const std::string& relativePath) override {
        return fakeDataDir ? *fakeDataDir : HUTBackend::dataDir(relativePath);
    }

    bool exists(const std::string& path) override {
        return onExists ? onExists(path) : HUTBackend::exists(path);
    }
    bool isDir(const std::string& path) override {
        return onIsDir ? onIsDir(path) : HUTBackend::isDir(path);
    }
    bool isWriteable(const std::string& path) override {
        return onIsWriteable ? onIsWriteable(path) : HUTBackend::isWriteable(path);
    }
    bool mkDir(const std::string& path) override {
        return onMkDir ? onMkDir(path) : HUTBackend::mkDir(path);
    }
    bool mkDirRecursive(const std::string& path) override {
        return onMkDirRecursive ? onMkDirRecursive(path) : HUTBackend::mkDirRecursive(path);
    }
    bool rm(const std::string& path) override { return onRm ? onRm(path) : HUTBackend::rm(path); }
    bool rmRecursive(const std::string& path) override {
        return onRmRecursive ? onRmRecursive(path) : HUTBackend::rmRecursive(path);
    }
    bool copyToDir(const std::string& path, const std::string& directory,
                   HUTFile::CopyMode mode) override {
        return onCopyToDir ? onCopyToDir(path, directory, mode)
                           : HUTBackend::copyToDir(path, directory, mode);
    }
    std::string canonicalName(const std::string& path) override {
        return onCanonicalName ? onCanonicalName(path) : HUTBackend::canonicalName(path);
    }
    int launch(const std::string& cmdLine, bool throughShell, bool wait, bool inheritOutput,
               bool inheritInput, bool inheritEnvironment) override {
        return onLaunch ? onLaunch(cmdLine, throughShell, wait, inheritOutput, inheritInput,
                                   inheritEnvironment)
                        : HUTBackend::launch(cmdLine, throughShell, wait, inheritOutput,
                                             inheritInput, inheritEnvironment);
    }

  private:
    HUTBackend* m_before;
};

}  // namespace test_support
