#include <execinfo.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "capture/FrameLines.h"
#include "capture/TraceLines.h"

// A function that ends in a call, the next one right behind it; then the same without a name for
// the first. Nothing of it is ever executed.
asm(R"(
    .text
    .globl  frameLinesCaller
    .type   frameLinesCaller, @function
frameLinesCaller:
    nop
    call    frameLinesCaller
    .size   frameLinesCaller, . - frameLinesCaller

    .globl  frameLinesNeighbour
    .type   frameLinesNeighbour, @function
frameLinesNeighbour:
    nop
    .size   frameLinesNeighbour, . - frameLinesNeighbour

    call    frameLinesCaller
    .globl  frameLinesNeighbourOfNameless
    .type   frameLinesNeighbourOfNameless, @function
frameLinesNeighbourOfNameless:
    nop
    .size   frameLinesNeighbourOfNameless, . - frameLinesNeighbourOfNameless
)");
extern "C" {
extern char frameLinesCaller[];
extern char frameLinesNeighbour[];
extern char frameLinesNeighbourOfNameless[];
}

namespace {

std::string textOf(const std::function<void(int fd)>& write) {
    const int fd = memfd_create("frame-lines", MFD_CLOEXEC);
    write(fd);
    std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(fd, text.data(), text.size(), 0));
    close(fd);
    return text;
}

std::string returnLine(const void* address) {
    return textOf([&](int fd) { hcrpt::writeReturnLine(fd, address); });
}

std::string inBrackets(const void* address) {
    char text[32];
    std::snprintf(text, sizeof text, "[%p]\n", address);
    return text;
}

TEST(FrameLinesTest, AReturnAddressBehindItsFunctionIsNamedByTheCall) {
    void* const neighbour = frameLinesNeighbour;
    ASSERT_NE(std::string::npos, traceLines(&neighbour, 1).find("(frameLinesNeighbour+0x0)"));
    const std::string line = returnLine(frameLinesNeighbour);
    EXPECT_NE(std::string::npos,
              line.find("(frameLinesCaller+0x6)" + inBrackets(frameLinesNeighbour)))
        << line;
}

TEST(FrameLinesTest, ACallerWithoutANameIsNotTakenForTheNextFunction) {
    const std::string line = returnLine(frameLinesNeighbourOfNameless);
    EXPECT_NE(std::string::npos, line.find("(+0x")) << line;
    EXPECT_EQ(std::string::npos, line.find("Neighbour")) << line;
    EXPECT_NE(std::string::npos, line.find(")" + inBrackets(frameLinesNeighbourOfNameless)));
}

TEST(FrameLinesTest, EveryOtherLineIsThatOfTheCLibrary) {
    void* frames[100];
    const int count = backtrace(frames, 100);
    ASSERT_GT(count, 5);
    for (int i = 0; i < count; ++i) EXPECT_EQ(traceLines(frames + i, 1), returnLine(frames[i]));
}

TEST(FrameLinesTest, AnAddressInNoModuleStandsAlone) {
    void* const nowhere = reinterpret_cast<void*>(0x12345678000);
    EXPECT_EQ("[0x12345678000]\n", returnLine(nowhere));
    EXPECT_EQ("[0x0]\n", returnLine(nullptr));
}

TEST(FrameLinesTest, TheHandlersCallerAndTheInterruptedFrameKeepTheirOwnNames) {
    void* const frames[] = {frameLinesCaller, frameLinesNeighbour, frameLinesNeighbour + 1};
    const auto lineOf = [&](int i, const void* before, const void* caller) {
        return textOf([&](int fd) { hcrpt::writeFrameLine(fd, frames[i], before, caller); });
    };
    // The first frame calls the handler, so the second was interrupted; the third made a call.
    EXPECT_EQ(traceLines(frames, 1), lineOf(0, nullptr, frameLinesCaller));
    EXPECT_EQ(traceLines(frames + 1, 1), lineOf(1, frames[0], frameLinesCaller));
    EXPECT_EQ(returnLine(frames[2]), lineOf(2, frames[1], frameLinesCaller));
    EXPECT_EQ(returnLine(frames[1]), lineOf(1, frames[0], nullptr));
}

}  // namespace
