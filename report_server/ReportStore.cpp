#include "report_server/ReportStore.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/WriteAll.h"

namespace report_server {
namespace {

bool syncDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool synced = fsync(descriptor) == 0;
    close(descriptor);
    return synced;
}

StoreResult failure(const std::string& what) {
    return {std::nullopt, what + ": " + std::strerror(errno)};
}

}  // namespace

StoreResult storeReport(const std::string& directory, const std::string& clientName,
                        const std::string& content, std::string (*stamp)()) {
    if (directory.empty()) return {std::nullopt, "no store is configured"};
    // No stored report's name begins with a full stop, so a file that was cut short is never taken
    // for a report.
    std::string temporary = directory + "/.incoming-XXXXXX";
    const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0) return failure("cannot make " + temporary);

    bool good =
        hcrpt::writeAll(descriptor, content.data(), content.size()) && fsync(descriptor) == 0;
    good = close(descriptor) == 0 && good;
    std::string name;
    while (good) {
        name = stamp() + "-" + safeName(clientName);
        const std::string path = directory + "/" + name;
        if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
            break;
        good = errno == EEXIST;  // a report of the same microsecond has the name; try the next
    }
    if (!good) {
        const StoreResult result = failure("cannot store in " + directory);
        unlink(temporary.c_str());
        return result;
    }
    if (!syncDirectory(directory)) {
        const StoreResult result = failure("cannot sync " + directory);
        unlink((directory + "/" + name).c_str());
        return result;
    }
    return {name, ""};
}

}  // namespace report_server
