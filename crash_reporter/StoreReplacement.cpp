#include "crash_reporter/StoreReplacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "HUTFile.h"
#include "crash_reporter/Log.h"
#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"
#include "store/SessionPaths.h"

namespace crash_reporter {
namespace {

std::string store() {
    return HCrashRptSettings::getCrashStorePath();
}

/// There is one for each session. The crash reporter that holds the session's lock owns it.
std::string asidePath() {
    return hcrpt::pathInSessionDirectory(hcrpt::kStoreAside);
}

std::string registrationsAside() {
    return asidePath() + HCrashRptSettings::getDirSeparator() + hcrpt::kRegistrationFile;
}

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    const std::unique_ptr<HUTFileIter> entries(HUTFile(directory).createFileIter());
    for (; entries->isValid(); entries->next()) names.insert(HUTFile(entries->getPath()).getName());
    return names;
}

/// Moves a file unless there is one of the new name. @return false when it is still at the old one
/// for another reason.
bool moveWithoutReplacing(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    // NFS knows no such rename, but a link replaces nothing either.
    const bool isUnknown = errno == EINVAL || errno == ENOSYS;
    if (isUnknown && link(from.c_str(), to.c_str()) == 0) return unlink(from.c_str()) == 0;
    return errno == EEXIST;
}

/// Moves all but some names into the store. A file of that name in the store stays.
/// @return false when a file could not be moved.
bool moveIntoStore(const std::set<std::string>& names, const std::set<std::string>& without) {
    const std::string separator = HCrashRptSettings::getDirSeparator();
    bool areMoved = true;
    for (const std::string& name : names)
        if (without.count(name) == 0 &&
            !moveWithoutReplacing(asidePath() + separator + name, store() + separator + name))
            areMoved = false;
    return areMoved;
}

}  // namespace

StoreReplacement::StoreReplacement() : m_known(namesIn(store())) {}

bool StoreReplacement::putAside() const {
    return std::rename(store().c_str(), asidePath().c_str()) == 0;
}

void StoreReplacement::finish() const {
    // Without a new store the old one is kept: undoInterrupted() puts it back later.
    if (!HUTFile(store()).isDir()) return;
    // A file that could not be moved is kept: undoInterrupted() tries again later.
    if (moveIntoStore(namesIn(asidePath()), m_known) && HUTFile(asidePath()).rmRecursive())
        logInfo("Deleted the crash store of an earlier session.");
    else
        logError("Could not delete " + asidePath() + ".");
}

Records StoreReplacement::undoInterrupted() {
    Records records;
    if (!HUTFile(asidePath()).isDir()) return records;
    if (std::rename(asidePath().c_str(), store().c_str()) == 0) return records;
    records = recordsIn(registrationsAside());
    // The names that the killed crash reporter had noted are lost, so everything is moved. Traces
    // and reports that nobody needs do no harm.
    if (moveIntoStore(namesIn(asidePath()), {HUTFile(registrationsAside()).getName()}))
        HUTFile(asidePath()).rmRecursive();
    return records;
}

}  // namespace crash_reporter
