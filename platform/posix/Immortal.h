/// @file
/// A static object that is never destroyed.
#pragma once

/// A process may crash while it runs its exit handlers. Objects that the crash path needs must
/// still exist then, so an Immortal object is never destroyed.
template <class T>
union Immortal {
    constexpr Immortal() : value() {}
    ~Immortal() {}  // Contract: the value is never destroyed, see above
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T value;
};
