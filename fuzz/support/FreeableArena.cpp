// Defines all functions of HCrptResourceMgr that the metadata tree uses, so that the linker does
// not take the real class.
#include "fuzz/support/FreeableArena.h"

#include <cstdlib>
#include <vector>

#include "fuzz/support/Fuzz.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"

namespace {

std::vector<void*> blocks;
std::size_t blocksLeft = 0;

}  // namespace

HCrptResourceMgr::HCrptResourceMgr() = default;
HCrptResourceMgr::~HCrptResourceMgr() = default;

HCrptResourceMgr* HCrptResourceMgr::get() {
    static HCrptResourceMgr instance;
    return &instance;
}

void* HCrptResourceMgr::allocateMem(std::size_t n) {
    FUZZ_REQUIRE(n == sizeof(HCrashRptMetaData::TableNode));
    if (blocksLeft == 0) return nullptr;
    --blocksLeft;
    blocks.push_back(std::malloc(n));
    return blocks.back();
}

namespace fuzz {

FreeableArena::FreeableArena(std::size_t blocks) {
    blocksLeft = blocks;
}

FreeableArena::~FreeableArena() {
    for (void* block : blocks) {
        static_cast<HCrashRptMetaData::TableNode*>(block)->~TableNode();
        std::free(block);
    }
    blocks.clear();
}

}  // namespace fuzz
