#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "support/ScopedFault.h"

namespace {

using hcrpt::FileDescriptor;

int openNull() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

TEST(FileDescriptorTest, ClosesAtTheEndOfItsScope) {
    const int fd = openNull();
    {
        const FileDescriptor owner(fd);
        EXPECT_TRUE(owner.isOpen());
        EXPECT_EQ(owner.get(), fd);
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(FileDescriptorTest, AReleasedDescriptorStaysOpen) {
    const int fd = openNull();
    {
        FileDescriptor owner(fd);
        EXPECT_EQ(owner.release(), fd);
        EXPECT_FALSE(owner.isOpen());
    }
    EXPECT_TRUE(isOpen(fd));
    close(fd);
}

TEST(FileDescriptorTest, ResetClosesTheFormerDescriptor) {
    const int former = openNull();
    const int next = openNull();
    FileDescriptor owner(former);
    owner.reset(next);
    EXPECT_FALSE(isOpen(former));
    EXPECT_EQ(owner.get(), next);
}

TEST(FileDescriptorTest, CloseTellsAnError) {
    const int fd = openNull();
    FileDescriptor owner(fd);
    close(fd);
    EXPECT_EQ(owner.close(), -1);
    EXPECT_FALSE(owner.isOpen());
}

TEST(FileDescriptorTest, AnInterruptedCloseIsASuccess) {
    const int fd = openNull();
    FileDescriptor owner(fd);
    {
        const test_support::ScopedFault interrupted(seams::onClose, EINTR);
        EXPECT_EQ(owner.close(), 0);
        EXPECT_EQ(interrupted.met(), 1);
    }
    EXPECT_FALSE(owner.isOpen());
    close(fd);  // the stand-in has left it open
}

TEST(FileDescriptorTest, NoDescriptorIsClosedWithoutError) {
    FileDescriptor none(-1);
    EXPECT_FALSE(none.isOpen());
    EXPECT_EQ(none.close(), 0);
}

}  // namespace
