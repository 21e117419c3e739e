#include "store/TraceIdentity.h"

namespace hcrpt {
namespace {

/// Longer than any tick of a file system's clock.
constexpr std::time_t kSettled = 2;  // seconds

bool isSame(const std::timespec& one, const std::timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

TraceIdentity::TraceIdentity(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(status.st_size),
      modified(status.st_mtim),
      changed(status.st_ctim),
      isSettled(status.st_ctim.tv_sec + kSettled <= std::time(nullptr)) {}

std::optional<TraceIdentity> TraceIdentity::of(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return TraceIdentity(status);
}

bool TraceIdentity::operator==(const TraceIdentity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           isSame(modified, other.modified) && isSame(changed, other.changed);
}

bool isBefore(const std::timespec& one, const std::timespec& other) {
    return one.tv_sec != other.tv_sec ? one.tv_sec < other.tv_sec : one.tv_nsec < other.tv_nsec;
}

}  // namespace hcrpt
