#include <cstring>
#include <string>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"

namespace {

constexpr std::size_t kArenaSize = 50000;    // bytes
constexpr std::size_t kScratchSize = 10000;  // bytes

// The arena for a crash during the exit of the process, after the singleton's destructor. It costs
// no memory until it is written to.
char s_arenaAfterExit[kArenaSize];
bool s_released = false;

}  // namespace

char* HCrptResourceMgr::mp_buffer = nullptr;
std::uint64_t HCrptResourceMgr::m_offset = 0;
char* HCrptResourceMgr::mp_scratchBuffer1 = nullptr;
char* HCrptResourceMgr::mp_scratchBuffer2 = nullptr;
bool HCrptResourceMgr::m_buffer1Free = true;
bool HCrptResourceMgr::m_buffer2Free = true;
std::string& HCrptResourceMgr::m_stackTraceLogPath = *new std::string;
std::string& HCrptResourceMgr::m_stackTraceTempFilePath = *new std::string;

HCrptResourceMgr* HCrptResourceMgr::get() {
    static HCrptResourceMgr instance;
    return &instance;
}

HCrptResourceMgr::HCrptResourceMgr() {
    mp_buffer = new char[kArenaSize]();
    mp_scratchBuffer1 = new char[kScratchSize]();
    mp_scratchBuffer2 = new char[kScratchSize]();

    const std::string pid = std::to_string(HUTEnv::getPid());
    m_stackTraceLogPath += HCrashRptSettings::getCrashStorePath() + HUTFile::getDirSeparator() +
                           hcrpt::kTraceLogPrefix + pid + hcrpt::kTraceExtension;
    m_stackTraceTempFilePath += HCrashRptSettings::getStackTraceLogPath() +
                                HUTFile::getDirSeparator() + hcrpt::kRawTracePrefix + pid +
                                hcrpt::kTraceExtension;
}

HCrptResourceMgr::~HCrptResourceMgr() {
    s_released = true;
    // A pointer is null when the constructor failed before that allocation. The pointers keep their
    // values, because no function uses them once s_released is set.
    delete[] mp_buffer;
    delete[] mp_scratchBuffer1;
    delete[] mp_scratchBuffer2;
}

void* HCrptResourceMgr::allocateMem(std::size_t n) {
    get();
    char* const arena = s_released ? s_arenaAfterExit : mp_buffer;
    if (arena == nullptr) return nullptr;
    // Subtracts instead of adding: m_offset + n would wrap around for a huge n.
    if (n > kArenaSize - m_offset) return nullptr;
    char* const block = arena + m_offset;
    m_offset += n;
    return block;
}

char* HCrptResourceMgr::getScratchBuffer1() {
    if (!m_buffer1Free || s_released) return nullptr;
    m_buffer1Free = false;
    return mp_scratchBuffer1;
}

char* HCrptResourceMgr::getScratchBuffer2() {
    if (!m_buffer2Free || s_released) return nullptr;
    m_buffer2Free = false;
    return mp_scratchBuffer2;
}

void HCrptResourceMgr::releaseScratchBuffer1() {
    m_buffer1Free = true;
}

void HCrptResourceMgr::releaseScratchBuffer2() {
    m_buffer2Free = true;
}

std::size_t HCrptResourceMgr::getScratchSize() {
    return kScratchSize;
}

bool HCrptResourceMgr::isReleased() {
    return s_released;
}

const std::string& HCrptResourceMgr::getStacktraceLogPath() {
    return m_stackTraceLogPath;
}

const std::string& HCrptResourceMgr::getStacktraceTempFilePath() {
    return m_stackTraceTempFilePath;
}

char* HCrptResourceMgr::getNextLineFromBuffer(char* src, std::size_t last, char* dest,
                                              std::size_t cap, std::size_t& offset, bool skip) {
    // last is the index of the final readable byte. The end of the bytes is checked before cap, and
    // a cap of 0 before skip: callers rely on both.
    if (offset > last || cap == 0) {
        if (!skip) dest[0] = '\0';
        return dest;
    }
    if (skip) {
        for (std::size_t i = offset; i <= last; ++i) {
            if (src[i] == '\n') {
                offset = i + 1;
                break;
            }
        }
        return dest;
    }
    std::size_t copied = 0;
    for (;;) {
        const char c = src[offset + copied];
        dest[copied++] = c;
        if (c == '\n') {
            offset += copied;
            break;
        }
        // A line without a line feed at the end of the bytes leaves the offset unchanged, so that
        // the caller can distinguish it from a complete line.
        if (offset + copied > last) break;
        if (copied == cap) {
            offset += copied;
            break;
        }
    }
    dest[copied] = '\0';
    return dest;
}
