// The supervisor with a real process, whose behaviour each test sets (scripted_daemon.cpp).
#include "host/chassis/supervisor/supervisor.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/host/chassis/base/run_until.h"
#include "tests/host/system/files.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

using std::chrono::milliseconds;

class Supervision : public ::testing::Test {
 protected:
  void start(const std::string &behaviour, SupervisorSettings settings = quick(),
             std::filesystem::path program = SCRIPTED_DAEMON) {
    behave(behaviour);
    journal_.emplace(folder_.path() / "chassis.log");
    std::filesystem::create_directories(folder_.path() / "bus");
    supervisor_.emplace(loop_, faults_, *journal_, SupervisorPaths{folder_.path(), std::move(program)},
                        SupervisorHooks{[this] { ++serving_; },
                                        [this] { ++gone_; },
                                        {},
                                        [this](std::string why) { why_ = std::move(why); }},
                        settings);
    ASSERT_EQ(host::test::sentence_of(supervisor_->endpoint().bind(folder_.path())), "");
    ASSERT_EQ(host::test::sentence_of(supervisor_->start()), "");
  }
  void TearDown() override {
    if (supervisor_) supervisor_->stop();
  }
  static SupervisorSettings quick() {
    SupervisorSettings settings;
    settings.first_pause = milliseconds(5);
    settings.longest_pause = milliseconds(20);
    return settings;
  }
  void behave(const std::string &behaviour) const {
    std::ofstream(folder_.path() / "behaviour") << behaviour << '\n';
  }
  bool until(const std::function<bool()> &done) { return run_until(loop_, done, std::chrono::seconds(20)); }

  TemporaryFolder folder_;
  asio::io_context loop_;
  FaultTable faults_;
  std::optional<Journal> journal_;
  std::optional<Supervisor> supervisor_;
  int serving_ = 0;
  int gone_ = 0;
  std::string why_;
};

TEST_F(Supervision, ADaemonThatServesIsReadyOnce) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1 && supervisor_->heartbeats() == 2; }));
  EXPECT_TRUE(supervisor_->handshaken());
  EXPECT_EQ(supervisor_->state(), DaemonState::serving);
  EXPECT_EQ(supervisor_->starts(), 1);
  EXPECT_TRUE(std::filesystem::is_directory(folder_.path() / "stores" / "running"));
  EXPECT_TRUE(std::filesystem::is_directory(folder_.path() / "stores" / "startup"));
}

TEST_F(Supervision, TheDaemonsFolderAndEmptyInputAreItsOwn) {
  start("", quick(),
        write_program(folder_.path() / "speak",
                      "read -r line; echo \"$OPAL_RUN_DIR $# end\"; ls /proc/self/fd | wc -l; exit 1"));
  ASSERT_TRUE(until([this] { return !why_.empty(); }));
  const std::string log = read_file(folder_.path() / "tesk.log");
  EXPECT_EQ(log.substr(0, log.find('\n')), folder_.path().string() + " 0 end");
  EXPECT_EQ(log.substr(log.find('\n') + 1, 2), "4\n") << "input, output, error, and the folder that ls reads";
}

TEST_F(Supervision, AKilledDaemonServesAgainAndTheOutageIsMeasured) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  EXPECT_FALSE(supervisor_->outage());
  kill(*supervisor_->pid(), SIGKILL);
  ASSERT_TRUE(until([this] { return serving_ == 2; }));
  EXPECT_EQ(gone_, 1);
  EXPECT_TRUE(supervisor_->outage());
  EXPECT_EQ(supervisor_->last_exit(), "tesk was ended by signal 9 (Killed)");
  EXPECT_NE(read_file(folder_.path() / "chassis.log").find("tesk serves again after"), std::string::npos);
}

TEST_F(Supervision, ACrashAtTheFirstStartIsSurvived) {
  start("crash-once");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  EXPECT_EQ(supervisor_->starts(), 2);
  EXPECT_EQ(supervisor_->last_exit(), "tesk was ended by signal 6 (Aborted)");
}

TEST_F(Supervision, ADaemonThatNeverServesIsGivenUpWithItsLastWords) {
  start("die 3");
  ASSERT_TRUE(until([this] { return !why_.empty(); }));
  EXPECT_EQ(
      why_,
      "the daemon did not come up in 3 starts: tesk exited with status 3; its last words were: cannot go on");
  EXPECT_EQ(supervisor_->state(), DaemonState::failed);
  EXPECT_FALSE(supervisor_->pid());
}

TEST_F(Supervision, ADaemonThatHangsIsEnded) {
  SupervisorSettings settings = quick();
  settings.start_bound = milliseconds(100);
  start("hang", settings);
  ASSERT_TRUE(until([this] { return !why_.empty(); }));
  EXPECT_EQ(why_,
            "the daemon did not come up in 3 starts: tesk was ended by signal 9 (Killed) because it did not "
            "serve within 100ms");
}

TEST_F(Supervision, HeartbeatsWithoutALoopThatAnswersAreNotService) {
  SupervisorSettings settings = quick();
  settings.start_bound = milliseconds(1000);
  settings.attempts = 1;
  start("mute", settings);
  ASSERT_TRUE(until([this] { return !why_.empty(); }));
  EXPECT_EQ(serving_, 0);
}

TEST_F(Supervision, ASecondHeartbeatThatStaysOutEndsTheDaemon) {
  SupervisorSettings settings = quick();
  settings.heartbeat_timeout = milliseconds(50);
  start("one-beat", settings);
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  behave("serve");
  ASSERT_TRUE(until([this] { return serving_ == 2; }));
  EXPECT_EQ(supervisor_->last_exit(),
            "tesk was ended by signal 9 (Killed) because it sent no heartbeat within 100ms");
}

TEST_F(Supervision, AfterItServedOnceItIsNeverGivenUp) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  behave("die 1");
  supervisor_->kill_daemon();
  ASSERT_TRUE(until([this] { return supervisor_->starts() >= 6; }));
  EXPECT_EQ(why_, "");
  behave("serve");
  ASSERT_TRUE(until([this] { return serving_ == 2; }));
}

TEST_F(Supervision, PausesDoubleUpToALimitAndFallBackAfterGoodService) {
  SupervisorSettings settings = quick();
  settings.first_pause = milliseconds(40);
  settings.longest_pause = milliseconds(160);
  settings.good_service = milliseconds(0);
  settings.attempts = 5;
  start("die 1", settings);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(until([this] { return !why_.empty(); }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(40 + 80 + 160 + 160));
}

TEST_F(Supervision, ASaveIsTheDaemonsToAnswer) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  std::optional<rcode_t> result;
  supervisor_->save([&result](rcode_t rcode) { result = rcode; });
  ASSERT_TRUE(until([&result] { return result.has_value(); }));
  EXPECT_EQ(*result, 0U);
}

TEST_F(Supervision, ASaveEndsWithTheDaemonThatShouldDoIt) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  std::optional<rcode_t> result;
  kill(*supervisor_->pid(), SIGSTOP);
  supervisor_->save([&result](rcode_t rcode) { result = rcode; });
  supervisor_->kill_daemon();
  ASSERT_TRUE(until([&result] { return result.has_value(); }));
  EXPECT_EQ(*result, static_cast<rcode_t>(RCODE_TIMED_OUT));
}

TEST_F(Supervision, StopLeavesNoProcess) {
  start("serve");
  ASSERT_TRUE(until([this] { return serving_ == 1; }));
  const pid_t pid = *supervisor_->pid();
  supervisor_->stop();
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(supervisor_->state(), DaemonState::stopped);
}

TEST_F(Supervision, AMissingDaemonIsOneSentence) {
  Journal journal(folder_.path() / "chassis.log");
  Supervisor supervisor(loop_, faults_, journal, {folder_.path(), "/nowhere/tesk"}, {});
  EXPECT_EQ(host::test::sentence_of(supervisor.start()),
            "the daemon /nowhere/tesk is not a program that can be started");
}

}  // namespace
}  // namespace chassis
