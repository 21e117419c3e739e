#include "store/StoreSnapshot.h"

#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"
#include "store/FileListing.h"

namespace hcrpt {

StoreSnapshot StoreSnapshot::take() {
    enum { traces, reports, registrations };
    const auto found = filesWithPrefixes({kRawTracePrefix, kReportPrefix, kRegistrationFile},
                                         HCrashRptSettings::getCrashStorePath());
    StoreSnapshot snapshot;
    for (const std::string& path : found[traces]) {
        const auto identity = TraceIdentity::of(path);
        if (identity) snapshot.rawTraces.push_back({path, stackTraceLogOf(path), *identity});
    }
    snapshot.reports.insert(found[reports].begin(), found[reports].end());
    const std::string file = HCrashRptSettings::getProcRegFileFullPath();
    for (const std::string& path : found[registrations]) snapshot.hasRegistrations |= path == file;
    return snapshot;
}

}  // namespace hcrpt
