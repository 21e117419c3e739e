#include "HUTEnv.h"

#include <utility>

#include "HUTBackend.h"

namespace {

enum ReferenceResult { WORKING_DIRECTORY, APP_ROOT, APP_DATA_DIR, TMP_DIR, REFERENCE_RESULTS };

// The texts of the results by reference, one of each per thread. They are plain pointers so that
// exit handlers can still use them after the thread's objects have been destroyed.
thread_local std::string* t_results[REFERENCE_RESULTS] = {};

struct FreeAtThreadEnd {
    ~FreeAtThreadEnd() {
        for (std::string*& text : t_results) {
            delete text;
            text = nullptr;
        }
    }
    void arm() {}
};
thread_local FreeAtThreadEnd t_freeAtThreadEnd;

const std::string& keep(ReferenceResult which, std::string&& value) {
    t_freeAtThreadEnd.arm();  // a thread's first use of the object registers its destructor
    std::string*& text = t_results[which];
    if (text)
        *text = std::move(value);
    else
        text = new std::string(std::move(value));
    return *text;
}

HUTBackend& backend() {
    return HUTBackend::current();
}

}  // namespace

std::string HUTEnv::getHostName() {
    return backend().hostName();
}
std::string HUTEnv::getUserName() {
    return backend().userName();
}
std::string HUTEnv::getDomainName() {
    return backend().domainName();
}
bool HUTEnv::isHostInsideVeltra() {
    return backend().isHostInsideVeltra();
}

int HUTEnv::getPid() {
    return backend().pid();
}
const std::string& HUTEnv::getPWD() {
    return keep(WORKING_DIRECTORY, backend().workingDirectory());
}
std::string HUTEnv::getProgramName() {
    return backend().programName();
}
std::string HUTEnv::getCmdline() {
    return backend().commandLine();
}

std::string HUTEnv::getProductName() {
    return backend().product().name;
}
std::string HUTEnv::getProductVersion() {
    return backend().product().version;
}
int HUTEnv::getBuildNumber() {
    return backend().product().buildNumber;
}
std::string HUTEnv::getBuildDate() {
    return backend().product().buildDate;
}

void HUTEnv::getTimeStamp(std::string& stamp) {
    stamp = backend().timeStamp();
}

const std::string& HUTEnv::getTUVAppRoot() {
    return keep(APP_ROOT, backend().appRoot());
}
const std::string& HUTEnv::getTUVAppDataDir() {
    return keep(APP_DATA_DIR, backend().appDataDir());
}
const std::string& HUTEnv::getTUVTmpDir() {
    return keep(TMP_DIR, backend().tmpDir());
}
std::string HUTEnv::getZEBDataDir(const std::string& relativePath) {
    return backend().dataDir(relativePath);
}
