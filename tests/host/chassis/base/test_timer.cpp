#include "host/chassis/base/timer.h"

#include <gtest/gtest.h>

#include "tests/host/chassis/base/run_until.h"

namespace chassis {
namespace {

using std::chrono::milliseconds;

struct TimerTest : testing::Test {
  asio::io_context loop;
  int expired = 0;
};

TEST_F(TimerTest, CallsItsHandlerOnce) {
  Timer timer(loop);
  timer.set(milliseconds(0), [this] { ++expired; });
  EXPECT_EQ(loop.run_for(std::chrono::seconds(10)), 1U);
  EXPECT_TRUE(loop.stopped());
  EXPECT_EQ(expired, 1);
}

// Both have expired when the loop looks, so that the second handler is queued while the first one runs.
TEST_F(TimerTest, DoesNotCallAHandlerThatIsQueuedWhenItIsCancelled) {
  Timer first(loop), second(loop);
  first.set(milliseconds(0), [&] { second.cancel(); });
  second.set(milliseconds(0), [this] { ++expired; });
  EXPECT_EQ(loop.run_for(std::chrono::seconds(10)), 2U);
  EXPECT_EQ(expired, 0);
}

TEST_F(TimerTest, DoesNotCallAHandlerThatIsQueuedWhenItIsSetAgain) {
  Timer first(loop), second(loop);
  std::string called;
  first.set(milliseconds(0), [&] { second.set(milliseconds(0), [&] { called += "new"; }); });
  second.set(milliseconds(0), [&] { called += "old"; });
  loop.run_for(std::chrono::seconds(10));
  EXPECT_EQ(called, "new");
}

TEST_F(TimerTest, KeepsTheHandlerThatDestroysIt) {
  auto timer = std::make_unique<Timer>(loop);
  auto held = std::make_shared<int>();
  timer->set(milliseconds(0), [this, &timer, held] {
    const std::weak_ptr<int> watched = held;
    Timer *gone = timer.release();
    auto *count = &expired;
    delete gone;
    *count += static_cast<int>(watched.use_count());
  });
  held.reset();
  loop.run_for(std::chrono::seconds(10));
  EXPECT_EQ(expired, 1);
}

}  // namespace
}  // namespace chassis
