/// @file
/// Visibility of the platform library's interface.
#pragma once

#define HUT_EXPORT __attribute__((visibility("default")))
