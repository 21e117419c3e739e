/// @file
/// Descriptors 0, 1 and 2.
#pragma once

namespace hcrpt {

/// Opens the null device in place of those that are closed, as they are in daemons. Otherwise the
/// next file that is opened would get their number, and the messages, and the input and output of
/// tools, with it. Child processes inherit them. @signalsafe
void occupyStandardDescriptors();

}  // namespace hcrpt
