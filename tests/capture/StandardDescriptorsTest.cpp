#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "capture/StandardDescriptors.h"
#include "support/ChildProcess.h"

using test_support::ChildProcess;
using test_support::exitedWith;

namespace {

bool isNullDevice(int fd) {
    struct stat file = {};
    struct stat null = {};
    return fstat(fd, &file) == 0 && stat("/dev/null", &null) == 0 && file.st_rdev == null.st_rdev;
}

TEST(StandardDescriptorsTest, ClosedOnesBecomeTheNullDeviceAndOpenOnesStay) {
    ChildProcess host = ChildProcess::fork([] {
        close(STDIN_FILENO);
        close(STDERR_FILENO);
        struct stat before = {};
        fstat(STDOUT_FILENO, &before);
        hcrpt::occupyStandardDescriptors();
        struct stat after = {};
        fstat(STDOUT_FILENO, &after);
        if (!isNullDevice(STDIN_FILENO) || !isNullDevice(STDERR_FILENO)) return 1;
        if (before.st_ino != after.st_ino || before.st_dev != after.st_dev) return 2;
        const bool isInherited = (fcntl(STDIN_FILENO, F_GETFD) & FD_CLOEXEC) == 0;
        return isInherited && (fcntl(STDERR_FILENO, F_GETFL) & O_ACCMODE) == O_RDWR ? 0 : 3;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(StandardDescriptorsTest, NothingIsOpenedWhereAllAreOpen) {
    const int next = dup(STDIN_FILENO);
    close(next);
    hcrpt::occupyStandardDescriptors();
    const int same = dup(STDIN_FILENO);
    close(same);
    EXPECT_EQ(next, same);
}

}  // namespace
