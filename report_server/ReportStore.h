/// @file
/// The directory of received reports.
#pragma once

#include <string>

#include "report_server/ReportName.h"

namespace report_server {

/// What came of storing a report.
struct StoreResult {
    std::string name;   ///< of the stored file; empty when nothing was stored
    std::string error;  ///< why not, for the server's log
};

/// Stores a report in a directory under its time of arrival and the safe form of the client's name.
/// The file appears whole, synced to the disk and readable by its owner only, or not at all; it
/// never replaces another: a name that is taken is tried again with a later stamp.
StoreResult storeReport(const std::string& directory, const std::string& clientName,
                        const std::string& content, std::string (*stamp)() = arrivalStamp);

}  // namespace report_server
