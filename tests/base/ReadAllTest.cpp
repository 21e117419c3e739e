#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/ReadAll.h"
#include "support/LinkSeams.h"

namespace {

using hcrpt::readAll;
using hcrpt::readSome;
using hcrpt::readToEnd;

/// A descriptor whose every other read() is interrupted and whose others give three bytes at most.
class UnwillingDescriptor {
  public:
    explicit UnwillingDescriptor(std::string content)
        : m_content(std::move(content)),
          m_seam(seams::onRead, [this](int fd, void* data, std::size_t size) -> ssize_t {
              EXPECT_EQ(77, fd);
              if (++m_calls % 2 == 1) {
                  errno = EINTR;
                  return -1;
              }
              if (m_calls == m_failingCall) {
                  errno = EIO;
                  return -1;
              }
              const std::size_t part = std::min({size, m_content.size(), std::size_t{3}});
              std::memcpy(data, m_content.data(), part);
              m_content.erase(0, part);
              return static_cast<ssize_t>(part);
          }) {}
    void failAtCall(int number) { m_failingCall = number; }

  private:
    std::string m_content;
    int m_calls = 0;
    int m_failingCall = 0;
    seams::ScopedSeam<decltype(seams::onRead)> m_seam;
};

TEST(ReadSomeTest, GoesOnAfterASignal) {
    const UnwillingDescriptor descriptor("abcdef");
    char buffer[8] = {};
    EXPECT_EQ(readSome(77, buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST(ReadSomeTest, TellsAnError) {
    UnwillingDescriptor descriptor("abcdef");
    descriptor.failAtCall(2);
    char buffer[8] = {};
    EXPECT_EQ(readSome(77, buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(ReadAllTest, FillsTheBufferInSpiteOfSignalsAndShortReads) {
    const UnwillingDescriptor descriptor("0123456789");
    char buffer[9] = {};
    EXPECT_EQ(readAll(77, buffer, 8), 8U);
    EXPECT_STREQ(buffer, "01234567");
}

TEST(ReadAllTest, StopsAtTheEnd) {
    const UnwillingDescriptor descriptor("0123");
    char buffer[9] = {};
    EXPECT_EQ(readAll(77, buffer, 8), 4U);
    EXPECT_STREQ(buffer, "0123");
}

TEST(ReadAllTest, KeepsWhatCameBeforeAnError) {
    UnwillingDescriptor descriptor("0123456789");
    descriptor.failAtCall(4);
    char buffer[9] = {};
    EXPECT_EQ(readAll(77, buffer, 8), 3U);
    EXPECT_STREQ(buffer, "012");
}

TEST(ReadToEndTest, TakesAllInSpiteOfSignalsAndShortReads) {
    const UnwillingDescriptor descriptor("0123456789");
    EXPECT_EQ(readToEnd(77), "0123456789");
}

TEST(ReadToEndTest, KeepsWhatCameBeforeAnError) {
    UnwillingDescriptor descriptor("0123456789");
    descriptor.failAtCall(6);
    EXPECT_EQ(readToEnd(77), "012345");
}

TEST(ReadToEndTest, NoDescriptorIsEmpty) {
    EXPECT_EQ(readToEnd(-1), "");
}

}  // namespace
