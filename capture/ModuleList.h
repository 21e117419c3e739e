/// @file
/// A few of the modules that the process has loaded.
#pragma once

namespace hcrpt {

/// Modules by addresses within them. The loader's table of modules is read without its lock.
/// @signalsafe
class ModuleList {
  public:
    /// Adds the module of an address. @return false when it is in no module, or the list is full.
    bool add(const void* address);
    bool holds(const void* address) const;

  private:
    static constexpr int kMax = 4;
    const void* m_starts[kMax] = {};
    int m_count = 0;
};

}  // namespace hcrpt
