/// @file
/// System calls of the code under test that a test can watch or make fail.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>
#include <utility>

/// The linker sends these calls here (--wrap). A function that is set answers instead of the
/// system; each test resets what it has set (ScopedSeam).
namespace seams {

extern std::function<pid_t()> onFork;
extern std::function<int(const timespec*, timespec*)> onNanosleep;
/// The real call follows where it gives std::nullopt.
extern std::function<std::optional<ssize_t>(int fd, const void* data, std::size_t size)> onWrite;
extern std::function<tm*(const std::time_t*, tm*)> onLocaltime;
extern std::function<char*(const std::time_t*, char*)> onCtime;
/// Runs before the real call, which follows.
extern std::function<void(const char*, const char*)> beforeRename;

/// Sets a seam for the time of a scope.
template <typename Function>
class ScopedSeam {
  public:
    template <typename Value>
    ScopedSeam(Function& seam, Value value) : m_seam(seam) {
        m_seam = std::move(value);
    }
    ~ScopedSeam() { m_seam = nullptr; }
    ScopedSeam(const ScopedSeam&) = delete;
    ScopedSeam& operator=(const ScopedSeam&) = delete;

  private:
    Function& m_seam;
};
template <typename Function, typename Value>
ScopedSeam(Function&, Value) -> ScopedSeam<Function>;

}  // namespace seams
