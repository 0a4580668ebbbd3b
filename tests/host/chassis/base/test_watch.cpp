#include "host/chassis/base/watch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>

#include "host/system/descriptor.h"
#include "tests/host/chassis/base/run_until.h"

namespace chassis {
namespace {

class WatchedPipe : public testing::Test {
 protected:
  void SetUp() override {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0);
    reading_ = host::Descriptor(ends[0]);
    writing_ = host::Descriptor(ends[1]);
  }

  void write_bytes(const std::string &bytes) {
    ASSERT_EQ(write(writing_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  ReadResult read_byte() {
    char byte = 0;
    const ssize_t size = read(reading_.get(), &byte, 1);
    if (size < 0) return result_of_failed_read(errno);
    if (size == 0) return ReadResult::ended;
    taken_ += byte;
    return ReadResult::taken;
  }

  void watch() {
    watch_.emplace(loop_, reading_.get(), [this] { return read_byte(); });
  }

  host::Descriptor reading_, writing_;
  asio::io_context loop_;
  std::string taken_;
  std::optional<Watch> watch_;
};

TEST_F(WatchedPipe, IsReadUntilItEnds) {
  watch();
  write_bytes("ab");
  EXPECT_TRUE(run_until(loop_, [this] { return taken_ == "ab"; }));
  write_bytes("c");
  writing_ = {};
  loop_.restart();
  loop_.run();
  EXPECT_EQ(taken_, "abc");
}

TEST_F(WatchedPipe, GivesOthersTheirTurnAfter64Items) {
  watch();
  write_bytes(std::string(65, 'x'));
  loop_.run_one();
  EXPECT_EQ(taken_.size(), 64U);
  loop_.run_one();
  EXPECT_EQ(taken_.size(), 65U);
}

TEST_F(WatchedPipe, IsReadNoMoreWhenTheReaderDestroysTheWatch) {
  watch_.emplace(loop_, reading_.get(), [this] {
    const ReadResult result = read_byte();
    watch_.reset();
    return result;
  });
  write_bytes("ab");
  loop_.run();
  EXPECT_EQ(taken_, "a");
  EXPECT_NE(fcntl(reading_.get(), F_GETFD), -1) << "the watch only borrows the descriptor";
}

TEST_F(WatchedPipe, IsReadNoMoreWhenTheWatchIsDestroyedWhileItsWakeUpIsQueued) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0);
  const host::Descriptor other_reading(ends[0]), other_writing(ends[1]);
  int calls = 0;
  std::optional<Watch> other;
  const auto destroy_both = [&] {
    ++calls;
    watch_.reset();
    other.reset();
    return ReadResult::nothing;
  };
  watch_.emplace(loop_, reading_.get(), destroy_both);
  other.emplace(loop_, other_reading.get(), destroy_both);
  write_bytes("a");
  ASSERT_EQ(write(other_writing.get(), "a", 1), 1);
  loop_.run();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace chassis
