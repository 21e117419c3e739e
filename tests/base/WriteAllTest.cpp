#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>

#include "base/ReadAll.h"
#include "base/WriteAll.h"
#include "support/LinkSeams.h"

using hcrpt::readToEnd;
using hcrpt::writeAll;

namespace {

TEST(WriteAllTest, WritesWhatAPipeTakesInPieces) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    std::string sent(1 << 20, 'x');
    for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>('a' + i % 26);
    std::string got;
    std::thread reader([&] { got = readToEnd(ends[0]); });
    EXPECT_TRUE(writeAll(ends[1], sent.data(), sent.size()));
    close(ends[1]);
    reader.join();
    close(ends[0]);
    EXPECT_EQ(sent, got);
}

TEST(WriteAllTest, GoesOnAfterShortWrites) {
    std::string written;
    const seams::ScopedSeam seam(seams::onWrite, [&](int fd, const void* data, std::size_t size) {
        EXPECT_EQ(77, fd);
        const std::size_t part = std::min<std::size_t>(size, 3);
        written.append(static_cast<const char*>(data), part);
        return static_cast<ssize_t>(part);
    });
    EXPECT_TRUE(writeAll(77, "0123456789", 10));
    EXPECT_EQ("0123456789", written);
}

TEST(WriteAllTest, GoesOnAfterASignal) {
    int calls = 0;
    std::string written;
    const seams::ScopedSeam seam(seams::onWrite, [&](int, const void* data, std::size_t size) {
        if (++calls % 2 == 1) {
            errno = EINTR;
            return ssize_t{-1};
        }
        const std::size_t part = std::min<std::size_t>(size, 4);
        written.append(static_cast<const char*>(data), part);
        return static_cast<ssize_t>(part);
    });
    EXPECT_TRUE(writeAll(77, "01234567", 8));
    EXPECT_EQ("01234567", written);
    EXPECT_EQ(4, calls);
}

TEST(WriteAllTest, TellsAnErrorAndTriesNoMore) {
    int calls = 0;
    const seams::ScopedSeam seam(seams::onWrite, [&](int, const void*, std::size_t) {
        if (++calls == 1) return ssize_t{2};
        errno = ENOSPC;
        return ssize_t{-1};
    });
    EXPECT_FALSE(writeAll(77, "01234567", 8));
    EXPECT_EQ(2, calls);
}

TEST(WriteAllTest, ACallThatTakesNothingIsAnError) {
    int calls = 0;
    const seams::ScopedSeam seam(seams::onWrite, [&](int, const void*, std::size_t) {
        return ssize_t{++calls == 1 ? 2 : calls == 2 ? 0 : 6};
    });
    EXPECT_FALSE(writeAll(77, "01234567", 8));
    EXPECT_EQ(2, calls);
}

TEST(WriteAllTest, FailsOnAFullDeviceAndOnAClosedDescriptor) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    EXPECT_FALSE(writeAll(full, "x", 1));
    close(full);
    EXPECT_FALSE(writeAll(-1, "x", 1));
}

TEST(WriteAllTest, NothingToWriteSucceedsWithoutACall) {
    EXPECT_TRUE(writeAll(-1, "", 0));
}

}  // namespace
