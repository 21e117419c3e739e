/// @file
/// The product's facts, as the host has set them.
#pragma once

#include "HUTPlatform.h"

/// Returns empty texts and build number 0 before the first call of HUTPlatform::setProduct.
const HUTPlatform::HUTProductInfo& currentProduct();
