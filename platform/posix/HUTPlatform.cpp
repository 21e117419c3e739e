#include "HUTPlatform.h"

#include "Immortal.h"
#include "Product.h"

namespace {

Immortal<HUTPlatform::HUTProductInfo> s_product;

}  // namespace

void HUTPlatform::setProduct(const HUTProductInfo& product) {
    s_product.value = product;
}

const HUTPlatform::HUTProductInfo& currentProduct() {
    return s_product.value;
}
