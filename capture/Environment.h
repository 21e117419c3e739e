/// @file
/// The environment of a crashing process.
#pragma once

namespace hcrpt::Environment {

/// Copies the environment into memory that nobody can write to. Later calls do nothing. Without
/// memory there is no copy. @ordinary
void keep();

/// Makes the copy the environment of this process where the session cannot be found in the present
/// one: it was cleared, or its memory is gone or overwritten. Otherwise leaves it as it is.
/// @signalsafe
void restoreIfLost();

}  // namespace hcrpt::Environment
