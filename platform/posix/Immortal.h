/// @file
/// A static object that is never destroyed.
#pragma once

/// A process may crash while it runs its exit handlers; what the crash path needs must still be
/// there then, so these objects have no end.
template <class T>
union Immortal {
    constexpr Immortal() : value() {}
    ~Immortal() {}  // on purpose: the value stays
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T value;
};
