#include "host/chassis/sandbox/sandbox.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/host/system/files.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

struct SandboxTest : testing::Test {
  SandboxTest() {
    for (const auto &part : {plan.run_folder, plan.programs}) std::filesystem::create_directories(part);
    write_program(plan.programs / "instteskklm", "");
    write_program(plan.daemon, "");
  }
  host::Result<int> run(const std::string &command) {
    plan.command = {"/bin/sh", "-c", command};
    return run_sandboxed(plan);
  }

  TemporaryFolder folder;
  SandboxPlan plan{
      folder.path() / "run", folder.path() / "bin", "lab", folder.path() / "bin" / "tesk", {}, {}};
};

TEST_F(SandboxTest, EndsWithTheCommandsStatus) {
  EXPECT_EQ(run("exit 7"), 7);
  EXPECT_EQ(run("kill -TERM $$"), 128 + SIGTERM);
}

TEST_F(SandboxTest, HasItsOwnNameAndFolderAndRoot) {
  EXPECT_EQ(run("cd /run/opal && echo $(uname -n) $CHASSIS_NAME $(id -u) >seen"), 0);
  EXPECT_EQ(read_file(plan.run_folder / "seen"), "lab lab 0\n");
}

TEST_F(SandboxTest, IsCompleteWhenItsProcessIsRecorded) {
  EXPECT_EQ(run("head -c 1 <&$CHASSIS_LIFELINE >/dev/null && cp /run/opal/sandbox.pid.new /run/opal/seen"),
            0);
  EXPECT_NE(read_file(plan.run_folder / "seen"), "");
}

TEST_F(SandboxTest, IsTakenDownByASignal) {
  plan.command = {
      "/bin/sh", "-c",
      "head -c 1 <&$CHASSIS_LIFELINE >/dev/null; cat <&$CHASSIS_LIFELINE; echo end >/run/opal/seen"};
  sigset_t mask, before;
  sigemptyset(&mask);
  sigaddset(&mask, SIGINT);
  sigprocmask(SIG_BLOCK, &mask, &before);
  raise(SIGINT);
  EXPECT_EQ(run_sandboxed(plan), 128 + SIGINT);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(read_file(plan.run_folder / "seen"), "end\n");
}

}  // namespace
}  // namespace chassis
