#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>

#include "support/LinkSeams.h"
#include "support/TempDir.h"
#include "utils/StdioOutput.h"

using hcrpt::flushText;
using hcrpt::putText;
using namespace test_support;

namespace {

/// Each first try is interrupted, and each second one takes three bytes at most.
class UnwillingSystem {
  public:
    UnwillingSystem()
        : m_seam(seams::onWrite,
                 [this](int, const void* data, std::size_t size) -> std::optional<ssize_t> {
                     if (++m_calls % 2 == 1) {
                         errno = EINTR;
                         return -1;
                     }
                     const std::size_t part = std::min<std::size_t>(size, 3);
                     m_written.append(static_cast<const char*>(data), part);
                     return static_cast<ssize_t>(part);
                 }) {}
    const std::string& written() const { return m_written; }

  private:
    int m_calls = 0;
    std::string m_written;
    seams::ScopedSeam<decltype(seams::onWrite)> m_seam;
};

class StreamOutputTest : public testing::Test {
  protected:
    /// A stream whose buffer has as much room, and is in use.
    void open(std::size_t room) {
        m_stream.reset(std::fopen(m_path.c_str(), "a"));
        ASSERT_NE(nullptr, m_stream);
        std::setvbuf(stream(), m_buffer, _IOFBF, room);
        // The C library makes use of a new buffer at the second write only.
        std::fputs(".", stream());
        std::fflush(stream());
        ASSERT_EQ(0, ftruncate(fileno(stream()), 0));
    }
    FILE* stream() { return m_stream.get(); }
    std::string content() const { return readFile(m_path); }

  private:
    struct Close {
        void operator()(FILE* file) const { std::fclose(file); }
    };
    const TempDir m_directory;
    const std::string m_path = m_directory / "out";
    char m_buffer[64] = {};
    std::unique_ptr<FILE, Close> m_stream;
};

TEST_F(StreamOutputTest, TextStaysInTheBufferUntilItIsFlushed) {
    open(64);
    std::fputs("first ", stream());
    putText(stream(), "second", 6);
    EXPECT_EQ("", content());
    flushText(stream());
    EXPECT_EQ("first second", content());
    EXPECT_EQ(0U, __fpending(stream()));
}

TEST_F(StreamOutputTest, TextForWhichThereIsNoRoomGoesBehindWhatIsBuffered) {
    open(8);
    std::fputs("first ", stream());
    putText(stream(), "second", 6);
    EXPECT_EQ("first second", content());
    std::fputs(" third", stream());
    flushText(stream());
    EXPECT_EQ("first second third", content());
}

TEST_F(StreamOutputTest, SignalsAndShortWritesCostNothing) {
    open(64);
    std::fputs("text of the host, ", stream());
    putText(stream(), "message", 7);
    const UnwillingSystem system;
    flushText(stream());
    EXPECT_EQ("text of the host, message", system.written());
    putText(stream(), std::string(70, 'x').c_str(), 70);
    EXPECT_EQ("text of the host, message" + std::string(70, 'x'), system.written());
}

TEST_F(StreamOutputTest, WithoutABufferNoneIsTaken) {
    const TempDir directory;
    const std::string path = directory / "out";
    FILE* const file = std::fopen(path.c_str(), "w");
    putText(file, "straight", 8);
    EXPECT_EQ(0U, __fbufsize(file));
    EXPECT_EQ("straight", readFile(path));
    std::fclose(file);
}

TEST_F(StreamOutputTest, WideTextIsFlushedToo) {
    const TempDir directory;
    const std::string path = directory / "out";
    FILE* const file = std::fopen(path.c_str(), "w");
    ASSERT_GT(std::fwide(file, 1), 0);
    std::fputws(L"wide ", file);
    putText(file, "narrow", 6);
    EXPECT_EQ("wide narrow", readFile(path));
    std::fputws(L" again", file);
    flushText(file);
    EXPECT_EQ("wide narrow again", readFile(path));
    std::fclose(file);
}

TEST_F(StreamOutputTest, WhatCannotBeWrittenIsGivenUp) {
    FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(nullptr, full);
    std::fputs("lost", full);
    flushText(full);
    EXPECT_EQ(0U, __fpending(full));
    std::fclose(full);
}

}  // namespace
