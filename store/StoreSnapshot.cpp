#include "store/StoreSnapshot.h"

#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"
#include "store/FileListing.h"

namespace hcrpt {

StoreSnapshot StoreSnapshot::take() {
    enum { kTraces, kReports, kRegistrations };
    const auto found = filesWithPrefixes({kRawTracePrefix, kReportPrefix, kRegistrationFile},
                                         HCrashRptSettings::getCrashStorePath());
    StoreSnapshot snapshot;
    for (const std::string& path : found[kTraces]) {
        const auto identity = TraceIdentity::of(path);
        if (identity) snapshot.rawTraces.push_back({path, stackTraceLogOf(path), *identity});
    }
    snapshot.reports.insert(found[kReports].begin(), found[kReports].end());
    const std::string file = HCrashRptSettings::getProcRegFileFullPath();
    for (const std::string& path : found[kRegistrations]) snapshot.hasRegistrations |= path == file;
    return snapshot;
}

}  // namespace hcrpt
