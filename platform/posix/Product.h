/// @file
/// What the host has told about its product.
#pragma once

#include "HUTPlatform.h"

/// Empty texts and build number 0 until HUTPlatform::setProduct has been called.
const HUTPlatform::HUTProductInfo& currentProduct();
