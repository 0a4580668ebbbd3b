#include "host/chassis/base/bounded_waits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/chassis/base/run_until.h"

namespace chassis {
namespace {

constexpr std::chrono::milliseconds at_once{0};
constexpr std::chrono::hours long_bound{1};

class WaitingCallbacks : public testing::Test {
 protected:
  using Waits = BoundedWaits<int, std::string>;

  void add(int key, std::chrono::milliseconds bound) { waits_->add(key, bound, recorder(key)); }

  Waits::OnAnswer recorder(int key) {
    return [this, key](const std::string *answer) {
      calls_.push_back(std::to_string(key) + " " + (answer != nullptr ? *answer : "nothing"));
    };
  }

  using Calls = std::vector<std::string>;
  const std::string yes_ = "yes";
  asio::io_context loop_;
  std::unique_ptr<Waits> waits_ = std::make_unique<Waits>(loop_);
  Calls calls_;
};

TEST_F(WaitingCallbacks, GetTheAnswerOnceAndNoTimeoutAfterIt) {
  add(1, at_once);
  EXPECT_TRUE(waits_->answer(1, &yes_));
  EXPECT_FALSE(waits_->answer(1, &yes_));
  loop_.run();
  EXPECT_EQ(calls_, Calls{"1 yes"});
}

TEST_F(WaitingCallbacks, GetNothingWhenTheirTimeIsOver) {
  add(1, at_once);
  add(2, long_bound);
  EXPECT_EQ(calls_, Calls{});
  EXPECT_TRUE(run_until(loop_, [this] { return !calls_.empty(); }));
  EXPECT_EQ(calls_, Calls{"1 nothing"});
  EXPECT_TRUE(waits_->answer(2, &yes_));
}

TEST_F(WaitingCallbacks, AreGivenUpInOrderOfTheirKeysWithThoseAddedMeanwhile) {
  add(2, long_bound);
  waits_->add(1, long_bound, [this](const std::string *answer) {
    EXPECT_EQ(answer, nullptr);
    add(3, long_bound);
  });
  waits_->give_up_all();
  EXPECT_EQ(calls_, (Calls{"2 nothing", "3 nothing"}));
  EXPECT_EQ(loop_.run(), 3U) << "cancelled timers of waits that are over";
}

TEST_F(WaitingCallbacks, AllGetTheSameAnswer) {
  add(1, long_bound);
  add(2, long_bound);
  waits_->answer_all(&yes_);
  EXPECT_EQ(calls_, (Calls{"1 yes", "2 yes"}));
}

TEST_F(WaitingCallbacks, GetNothingWhenTheirKeyIsUsedAgain) {
  add(1, long_bound);
  add(1, long_bound);
  EXPECT_EQ(calls_, Calls{"1 nothing"});
  EXPECT_TRUE(waits_->answer(1, &yes_));
  EXPECT_EQ(calls_, (Calls{"1 nothing", "1 yes"}));
}

TEST_F(WaitingCallbacks, MayDestroyWhatTheyWaitIn) {
  waits_->add(1, at_once, [this](const std::string *) { waits_.reset(); });
  add(2, at_once);
  loop_.run();
  EXPECT_EQ(waits_, nullptr);
  EXPECT_EQ(calls_, Calls{});
}

}  // namespace
}  // namespace chassis
