#include <gtest/gtest.h>
#include <unistd.h>

#include "base/ReadyToRead.h"

namespace {

using hcrpt::isReadyToRead;

class ReadyToReadTest : public testing::Test {
  protected:
    ReadyToReadTest() { EXPECT_EQ(pipe(m_ends), 0); }
    ~ReadyToReadTest() override {
        close(m_ends[0]);
        closeWriteEnd();
    }
    int readEnd() const { return m_ends[0]; }
    int writeEnd() const { return m_ends[1]; }
    void closeWriteEnd() {
        if (m_ends[1] >= 0) close(m_ends[1]);
        m_ends[1] = -1;
    }

  private:
    int m_ends[2] = {-1, -1};
};

TEST_F(ReadyToReadTest, AnEmptyPipeIsNot) {
    EXPECT_FALSE(isReadyToRead(readEnd()));
}

TEST_F(ReadyToReadTest, APipeWithDataIs) {
    ASSERT_EQ(write(writeEnd(), "x", 1), 1);
    EXPECT_TRUE(isReadyToRead(readEnd()));
}

TEST_F(ReadyToReadTest, APipeAtItsEndIs) {
    closeWriteEnd();
    EXPECT_TRUE(isReadyToRead(readEnd()));
}

TEST(NotReadyToReadTest, NoDescriptorIsNot) {
    EXPECT_FALSE(isReadyToRead(-1));
}

}  // namespace
