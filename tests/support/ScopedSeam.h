/// @file
/// Something of a test's own in the place of a call, for the time of a scope.
#pragma once

#include <utility>

namespace test_support {

/// Sets a seam: a function, or an optional value, that a linker-wrapped call looks at. It is empty
/// again at the end of the scope.
template <typename Function>
class ScopedSeam {
  public:
    template <typename Value>
    ScopedSeam(Function& seam, Value value) : m_seam(seam) {
        m_seam = std::move(value);
    }
    ~ScopedSeam() { m_seam = Function(); }
    ScopedSeam(const ScopedSeam&) = delete;
    ScopedSeam& operator=(const ScopedSeam&) = delete;

  private:
    Function& m_seam;
};
template <typename Function, typename Value>
ScopedSeam(Function&, Value) -> ScopedSeam<Function>;

}  // namespace test_support
