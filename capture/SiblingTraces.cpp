#include "capture/SiblingTraces.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "HUTEnv.h"
#include "base/TextBuilder.h"
#include "base/WriteAll.h"
#include "capture/SiblingLock.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptSettings.h"
#include "store/SessionPaths.h"

namespace hcrpt::SiblingTraces {
namespace {

constexpr std::size_t kPathSize = 4096;  // bytes, as much as the system takes
constexpr int kLockAttempts = 3;

/// Never destroyed: a process may crash while it exits.
struct Prepared {
    const std::string hostName = HUTEnv::getHostName();
    const std::string id = std::to_string(HUTEnv::getPid());
    const std::string registrationFile = HCrashRptSettings::getProcRegFileFullPath();
    const std::string facts = factsPath(hostName, id);
};
const Prepared* s_prepared = nullptr;

const char* lastComponent(const std::string& path) {
    return path.c_str() + (path.rfind('/') + 1);
}

/// A path in the crash store, with room for another one made from it.
class StorePath {
  public:
    /// The file of this name, which holds the id of the process that registered.
    StorePath(const char* crashStore, const char* name) {
        m_text.add(crashStore).add("/").add(name);
    }
    /// The same name with another process id.
    StorePath(const char* path, pid_t id) {
        const char* const own = findOwnId(path);
        if (own == nullptr) return;
        m_text.add(path, static_cast<std::size_t>(own - path)).add(static_cast<int>(id));
        m_text.add(own + s_prepared->id.size());
    }
    bool isUsable() const { return m_text.length() > 0 && !m_text.isCut(); }
    const char* text() const { return m_text.text(); }

  private:
    /// Its last occurrence: directories and host name may hold the same digits.
    static const char* findOwnId(const char* path) {
        const char* found = nullptr;
        for (const char* at = path; (at = std::strstr(at, s_prepared->id.c_str())) != nullptr; ++at)
            found = at;
        return found;
    }

    char m_buffer[kPathSize] = {};
    TextBuilder m_text{m_buffer, sizeof m_buffer};
};

void keepUnderId(const char* path, pid_t id) {
    const StorePath kept(path, id);
    if (!kept.isUsable() || rename(path, kept.text()) != 0) unlink(path);
}

void appendRecord(int fd, pid_t id) {
    char record[512];
    TextBuilder text(record, sizeof record);
    text.add(s_prepared->hostName.c_str()).add(":").add(static_cast<int>(id)).add("\n");
    if (!text.isCut()) writeAll(fd, text.text(), text.length());
}

/// As a process does that registers itself.
void registerId(pid_t id) {
    const int fd =
        open(s_prepared->registrationFile.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return;
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            appendRecord(fd, id);
            break;
        }
        sleep(1);
    }
    close(fd);
    const StorePath facts(s_prepared->facts.c_str(), id);
    if (facts.isUsable()) link(s_prepared->facts.c_str(), facts.text());
}

}  // namespace

void prepare() {
    if (s_prepared == nullptr) s_prepared = new Prepared;
}

void clear(const char* crashStore) {
    const SiblingLock::Predecessor before = SiblingLock::predecessor();
    if (before.id == 0) return;
    const StorePath trace(crashStore, lastComponent(HCrptResourceMgr::getStacktraceTempFilePath()));
    const char* const log = HCrptResourceMgr::getStacktraceLogPath().c_str();
    if (before.stage != SiblingLock::Stage::traceCopied) {
        unlink(trace.text());
        unlink(log);
        return;
    }
    keepUnderId(trace.text(), before.id);
    keepUnderId(log, before.id);
    registerId(before.id);
}

bool isOwnLog(const char* crashStore, const char* log) {
    if (SiblingLock::predecessor().id == 0) return true;
    const StorePath trace(crashStore, lastComponent(HCrptResourceMgr::getStacktraceTempFilePath()));
    struct stat ofTrace = {};
    struct stat ofLog = {};
    if (stat(trace.text(), &ofTrace) != 0 || stat(log, &ofLog) != 0) return false;
    if (ofLog.st_mtim.tv_sec != ofTrace.st_mtim.tv_sec)
        return ofLog.st_mtim.tv_sec > ofTrace.st_mtim.tv_sec;
    return ofLog.st_mtim.tv_nsec >= ofTrace.st_mtim.tv_nsec;
}

}  // namespace hcrpt::SiblingTraces
