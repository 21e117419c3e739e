#include "crash_reporter/StoreReplacement.h"

#include <fcntl.h>

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

/// Moves all but some names into the store. A file of that name in the store stays.
void moveIntoStore(const std::set<std::string>& names, const std::set<std::string>& without) {
    const std::string separator = HCrashRptSettings::getDirSeparator();
    for (const std::string& name : names) {
        if (without.count(name) > 0) continue;
        renameat2(AT_FDCWD, (asidePath() + separator + name).c_str(), AT_FDCWD,
                  (store() + separator + name).c_str(), RENAME_NOREPLACE);
    }
}

}  // namespace

StoreReplacement::StoreReplacement() : m_known(namesIn(store())) {}

bool StoreReplacement::putAside() const {
    return std::rename(store().c_str(), asidePath().c_str()) == 0;
}

void StoreReplacement::finish() const {
    // Without a new store the old one is kept: undoInterrupted() puts it back later.
    if (!HUTFile(store()).isDir()) return;
    moveIntoStore(namesIn(asidePath()), m_known);
    if (HUTFile(asidePath()).rmRecursive())
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
    moveIntoStore(namesIn(asidePath()), {HUTFile(registrationsAside()).getName()});
    HUTFile(asidePath()).rmRecursive();
    return records;
}

}  // namespace crash_reporter
