#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "support/ChildProcess.h"
#include "support/ScopedFault.h"

namespace {

using namespace test_support;

class ScopedFaultTest : public testing::Test {
  protected:
    ScopedFaultTest() { EXPECT_EQ(pipe(m_ends), 0); }
    ~ScopedFaultTest() override {
        for (const int end : m_ends) close(end);
    }
    ssize_t put() const { return write(m_ends[1], "x", 1); }

    int m_ends[2] = {-1, -1};
};

TEST_F(ScopedFaultTest, FailsAsOftenAsItSaysAndThenCallsTheSystem) {
    const ScopedFault fault(seams::onWrite, ENOSPC, 2);
    for (int i = 0; i < 2; ++i) {
        errno = 0;
        EXPECT_EQ(put(), -1);
        EXPECT_EQ(errno, ENOSPC);
    }
    EXPECT_EQ(put(), 1);
    EXPECT_EQ(fault.met(), 2);
    char got = 0;
    EXPECT_EQ(read(m_ends[0], &got, 1), 1);
    EXPECT_EQ(got, 'x');
}

TEST_F(ScopedFaultTest, EndsWithItsScope) {
    { const ScopedFault fault(seams::onWrite, EINTR, ScopedFault::kAlways); }
    EXPECT_EQ(put(), 1);
}

TEST_F(ScopedFaultTest, SparesOtherDescriptors) {
    const ScopedFault fault(seams::onWrite, EINTR, 1, [](int fd) { return fd == 1000; });
    EXPECT_EQ(put(), 1);
    EXPECT_EQ(fault.met(), 0);
}

TEST_F(ScopedFaultTest, ServesInForkedChildrenToo) {
    const ScopedFault fault(seams::onWrite, EINTR);
    ChildProcess child = ChildProcess::fork([this] { return put() == -1 && put() == 1 ? 0 : 1; });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(put(), -1);
}

}  // namespace
