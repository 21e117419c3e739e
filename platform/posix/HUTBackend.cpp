#include "HUTBackend.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "CanonicalPath.h"
#include "CopyFile.h"
#include "Directories.h"
#include "DirectoryEntries.h"
#include "FactParsers.h"
#include "FileTests.h"
#include "Immortal.h"
#include "Launch.h"
#include "MachineFacts.h"
#include "MakeDirectory.h"
#include "Product.h"
#include "RemoveTree.h"

namespace {

// Both exist before any code of the process runs and until the process ends.
Immortal<HUTBackend> s_posix;
HUTBackend* s_current = &s_posix.value;

}  // namespace

HUTBackend& HUTBackend::current() {
    return *s_current;
}

HUTBackend* HUTBackend::replace(HUTBackend* backend) {
    HUTBackend* const before = s_current == &s_posix.value ? nullptr : s_current;
    s_current = backend ? backend : &s_posix.value;
    return before;
}

HUTBackend::~HUTBackend() = default;

std::string HUTBackend::hostName() {
    return machineFacts().hostName;
}
std::string HUTBackend::userName() {
    return machineFacts().userName;
}
std::string HUTBackend::domainName() {
    return machineFacts().domainName;
}

bool HUTBackend::isHostInsideVeltra() {
    if (const char* value = std::getenv("HUT_INSIDE_NETWORK")) {
        const std::string chosen = value;
        if (chosen == "true") return true;
        if (chosen == "false") return false;
    }
    return facts::isInsideDomain(domainName(), HCRPT_DOMAIN_NAME);
}

int HUTBackend::pid() {
    return getpid();
}
std::string HUTBackend::workingDirectory() {
    return currentDirectory();
}
std::string HUTBackend::programName() {
    return machineFacts().programName;
}
std::string HUTBackend::commandLine() {
    return machineFacts().commandLine;
}
HUTPlatform::HUTProductInfo HUTBackend::product() {
    return currentProduct();
}

std::string HUTBackend::timeStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char text[] = "YYYYmmddTHHMMSS";
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", &local);
    return text;
}

std::string HUTBackend::appRoot() {
    return directories::appRoot();
}
std::string HUTBackend::appDataDir() {
    return directories::appDataDir(product().name);
}
std::string HUTBackend::tmpDir() {
    return directories::tmpDir(product().name);
}
std::string HUTBackend::dataDir(const std::string& relativePath) {
    return directories::dataDir(appRoot(), relativePath);
}

bool HUTBackend::exists(const std::string& path) {
    return file_tests::exists(path);
}
bool HUTBackend::isDir(const std::string& path) {
    return file_tests::isDir(path);
}
bool HUTBackend::isExecutable(const std::string& path) {
    return file_tests::isExecutable(path);
}
bool HUTBackend::isWriteable(const std::string& path) {
    return file_tests::isWriteable(path);
}
std::string HUTBackend::canonicalName(const std::string& path) {
    return canonicalPath(path);
}
bool HUTBackend::mkDir(const std::string& path) {
    return makeDirectory(path);
}
bool HUTBackend::mkDirRecursive(const std::string& path) {
    return makeDirectories(path);
}
bool HUTBackend::rm(const std::string& path) {
    return unlink(path.c_str()) == 0;
}
bool HUTBackend::rmRecursive(const std::string& path) {
    return removeTree(path);
}

bool HUTBackend::copyToDir(const std::string& path, const std::string& directory,
                           HUTFile::CopyMode mode) {
    return copyFileToDirectory(path, directory, mode);
}

HUTFileIter* HUTBackend::createFileIter(const std::string& path) {
    return new DirectoryEntries(path);
}

int HUTBackend::launch(const std::string& cmdLine, bool throughShell, bool wait, bool inheritOutput,
                       bool inheritInput, bool inheritEnvironment) {
    LaunchOptions options;
    options.throughShell = throughShell;
    options.wait = wait;
    options.inheritOutput = inheritOutput;
    options.inheritInput = inheritInput;
    options.inheritEnvironment = inheritEnvironment;
    return launchCommandLine(cmdLine, options);
}
