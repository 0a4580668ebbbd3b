#include "host/chassis/base/watch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

#include "host/system/descriptor.h"
#include "tests/host/chassis/base/run_until.h"

namespace chassis {
namespace {

struct WatchTest : testing::Test {
  WatchTest() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category());
    read_end = host::Descriptor(ends[0]);
    write_end = host::Descriptor(ends[1]);
  }
  void watch() {
    pipe_watch.emplace(loop, read_end.get(), [this] { return read_one(); });
  }
  ReadResult read_one() {
    char byte = 0;
    const ssize_t length = read(read_end.get(), &byte, 1);
    if (length < 0) return result_of_failed_read(errno);
    if (length == 0) return ReadResult::ended;
    text += byte;
    return ReadResult::taken;
  }
  void say(const std::string &words) {
    ASSERT_EQ(write(write_end.get(), words.data(), words.size()), static_cast<ssize_t>(words.size()));
  }

  asio::io_context loop;
  host::Descriptor read_end, write_end;
  std::optional<Watch> pipe_watch;
  std::string text;
};

TEST_F(WatchTest, TakesWhatWaitsAndThenWhatComesLater) {
  watch();
  say("now ");
  EXPECT_TRUE(run_until(loop, [this] { return text == "now "; }));
  say("later");
  EXPECT_TRUE(run_until(loop, [this] { return text == "now later"; }));
}

TEST_F(WatchTest, LeavesTheRestOfAFloodToTheNextTurn) {
  watch();
  say(std::string(100, 'x'));
  loop.run_one();
  EXPECT_EQ(text.size(), 64U);
  loop.run_one();
  EXPECT_EQ(text.size(), 100U);
}

TEST_F(WatchTest, EndsWithWhatItReads) {
  watch();
  write_end = host::Descriptor();
  loop.run_for(std::chrono::seconds(2));
  EXPECT_TRUE(loop.stopped());
}

TEST_F(WatchTest, LeavesTheDescriptorOpenAndUnreadWhenItGoes) {
  watch();
  say("x");
  pipe_watch.reset();
  loop.run_for(std::chrono::seconds(2));
  EXPECT_EQ(text, "");
  EXPECT_EQ(read_one(), ReadResult::taken);
}

TEST_F(WatchTest, WaitsAfterAReadThatMaySucceedLater) {
  EXPECT_EQ(result_of_failed_read(EAGAIN), ReadResult::nothing);
  EXPECT_EQ(result_of_failed_read(EINTR), ReadResult::nothing);
  EXPECT_EQ(result_of_failed_read(EIO), ReadResult::ended);
}

}  // namespace
}  // namespace chassis
