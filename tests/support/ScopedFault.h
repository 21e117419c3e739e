/// @file
/// Calls of the C library that fail.
#pragma once

#include <cerrno>
#include <functional>
#include <optional>

#include "support/LinkSeams.h"

namespace test_support {

/// For the time of its scope, calls that reach a seam fail with -1 and an error number; then the
/// real ones follow. A child that the test forks begins with what is left of the fault.
class ScopedFault {
  public:
    static constexpr int kAlways = 1 << 30;

    /// @param applies  tells for the first argument whether its call fails; empty: all calls do
    template <typename Result, typename... Rest>
    ScopedFault(seams::Seam<Result, int, Rest...>& seam, int error, int times = 1,
                std::function<bool(int)> applies = nullptr)
        : m_left(times), m_reset([&seam] { seam = nullptr; }) {
        seam = [this, error, applies](int subject, Rest...) -> std::optional<Result> {
            if (m_left == 0 || (applies && !applies(subject))) return std::nullopt;
            --m_left;
            ++m_met;
            errno = error;
            return static_cast<Result>(-1);
        };
    }
    ~ScopedFault() { m_reset(); }
    ScopedFault(const ScopedFault&) = delete;
    ScopedFault& operator=(const ScopedFault&) = delete;

    /// How many calls failed in this process. A test that expects no harm asks for it: a fault that
    /// never came proves nothing.
    int met() const { return m_met; }

  private:
    int m_left;
    int m_met = 0;
    std::function<void()> m_reset;
};

}  // namespace test_support
