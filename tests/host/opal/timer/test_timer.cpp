#include "opal/timer.h"

#include <gtest/gtest.h>

#include "host/bus/services.h"
#include "opal/overseer.h"
#include "opal/rcode.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

constexpr uint32_t tick_ms = 10;

void count_expiry(void *user_data) { ++*static_cast<int *>(user_data); }

class TimerTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    // Timers exist until the process ends, so this reserves room for those of all tests.
    ASSERT_EQ(timer_module_init(100, tick_ms), 0);
  }
};

TEST_F(TimerTest, ExpiriesComeAsMessagesAndTheCallbackRunsInTheDispatch) {
  static int expiries = 0;
  const timer_handle_t timer = timer_new(0, 0, count_expiry, &expiries);
  ASSERT_NE(timer, 0u);
  drain_queue();
  EXPECT_EQ(timer_start(timer), 0);
  std::optional<qbus_msg_ref_t> expiry = take_message();
  ASSERT_TRUE(expiry);
  EXPECT_EQ(expiries, 0);
  EXPECT_EQ(qbus_is_response(&*expiry), 0);
  EXPECT_EQ(qbus_payload_get(&*expiry), nullptr);
  EXPECT_EQ(overseer_dispatch(&*expiry), 1);
  EXPECT_EQ(expiries, 1);
  EXPECT_EQ(qbus_drop(queue(), &*expiry), -1) << "the library has released it";
  EXPECT_FALSE(wait_readable(queue(), std::chrono::milliseconds(5 * tick_ms))) << "it expires once";
}

TEST_F(TimerTest, APeriodicTimerRunsBetweenMessages) {
  static int expiries = 0;
  const timer_handle_t timer = timer_new(0, 1, count_expiry, &expiries);
  ASSERT_EQ(timer_start(timer), 0);
  bus::Socket peer = bind({0, 97});
  int messages = 0;
  while (expiries < 5 || messages < 5) {
    ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 1, 0, {}));
    std::optional<qbus_msg_ref_t> reference = take_message();
    ASSERT_TRUE(reference);
    const int before = expiries;
    if (overseer_dispatch(&*reference) == 1) {
      EXPECT_EQ(expiries, before + 1);
    } else {
      EXPECT_EQ(expiries, before);
      ++messages;
      qbus_drop(queue(), &*reference);
    }
    ASSERT_LT(messages, 100'000) << "messages starve the timer";
  }
  drain_queue();
}

TEST_F(TimerTest, TheOnlyRoomIsWhatWasAskedFor) {
  int unused = 0;
  EXPECT_EQ(timer_new(1, 1, nullptr, &unused), 0u);
  EXPECT_EQ(static_cast<rcode_t>(timer_start(0)), RCODE_INVALID);
  EXPECT_EQ(static_cast<rcode_t>(timer_start(9999)), RCODE_INVALID);
  EXPECT_EQ(static_cast<rcode_t>(timer_module_init(0, tick_ms)), RCODE_INVALID);
  EXPECT_EQ(static_cast<rcode_t>(timer_module_init(10, 0)), RCODE_INVALID);
  ASSERT_EQ(timer_module_init(1, tick_ms), 0);
  while (timer_new(1, 1, count_expiry, &unused) != 0) ASSERT_LT(++unused, 200);
}

}  // namespace
}  // namespace opal::test
