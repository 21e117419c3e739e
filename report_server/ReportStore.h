/// @file
/// The directory of received reports.
#pragma once

#include <optional>
#include <string>

#include "report_server/ReportName.h"

namespace report_server {

struct StoreResult {
    std::optional<std::string>
        name;           ///< of the stored file; nothing when the report was not stored
    std::string error;  ///< why it was not stored, for the server's log
};

/// Stores a report in a directory. The file's name is the time of arrival followed by the safe form
/// of the client's name. The file appears complete, synced to the disk and readable by its owner
/// only, or not at all. It never replaces another file: when the name is taken, storeReport() tries
/// again with a later stamp.
[[nodiscard]] StoreResult storeReport(const std::string& directory, const std::string& clientName,
                                      const std::string& content,
                                      std::string (*stamp)() = arrivalStamp);

}  // namespace report_server
