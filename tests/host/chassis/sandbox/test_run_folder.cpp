#include "host/chassis/sandbox/run_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "host/system/failure.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

struct RunFolderTest : testing::Test {
  RunFolderTest() : base(std::filesystem::temp_directory_path() / ("run" + std::to_string(getpid()))) {
    setenv("CHASSIS_RUN_DIR", base.c_str(), 1);
  }
  ~RunFolderTest() override {
    unsetenv("CHASSIS_RUN_DIR");
    std::filesystem::remove_all(base);
  }

  static std::string refusal_of(const std::string &name) {
    const host::Result<RunFolder> folder = RunFolder::make(name);
    return folder ? "taken" : folder.error().what;
  }

  std::filesystem::path base;
};

TEST_F(RunFolderTest, NothingStaysBehind) {
  std::optional<RunFolder> folder(RunFolder::make("lab").value());
  std::ofstream(folder->path() / "file") << "x";
  EXPECT_TRUE(std::filesystem::exists(base / "lab" / "file"));
  folder.reset();
  EXPECT_FALSE(std::filesystem::exists(base));
}

TEST_F(RunFolderTest, ASecondChassisOfTheNameIsRefused) {
  const RunFolder first = RunFolder::make("lab").value();
  EXPECT_EQ(refusal_of("lab"), "a chassis named 'lab' is already running; end it, or choose another --name");
  EXPECT_EQ(refusal_of("other"), "taken");
}

TEST_F(RunFolderTest, WhatAKilledChassisLeftIsClearedAndNotTakenForARunningOne) {
  std::filesystem::create_directories(base / "lab" / "bus");
  std::ofstream(base / "lab" / "sandbox.pid") << "1\n";
  std::ofstream(base / "lab" / "lock") << "";
  chmod(base.c_str(), 0700);
  EXPECT_TRUE(running_chassis().empty());
  const RunFolder folder = RunFolder::make("lab").value();
  EXPECT_FALSE(std::filesystem::exists(base / "lab" / "bus"));
  EXPECT_FALSE(sandbox_process("lab"));
}

TEST_F(RunFolderTest, TheChassisThatIsMeantIsFound) {
  EXPECT_EQ(sentence_of(choose_chassis("")), "no chassis is running; start one with: chassis run");
  const RunFolder first = RunFolder::make("alpha").value();
  EXPECT_EQ(choose_chassis(""), "alpha");
  EXPECT_EQ(sentence_of(choose_chassis("gamma")), "no chassis named 'gamma' is running; running are: alpha");
  const RunFolder second = RunFolder::make("beta").value();
  EXPECT_EQ(sentence_of(choose_chassis("")),
            "several chassis are running; choose one with --name: alpha, beta");
  EXPECT_EQ(choose_chassis("beta"), "beta");
}

TEST_F(RunFolderTest, ASandboxIsFoundOnceItIsAnnounced) {
  const RunFolder folder = RunFolder::make("lab").value();
  record_sandbox_process(folder.path(), 4711);
  EXPECT_FALSE(sandbox_process("lab"));
  announce_sandbox(folder.path());
  EXPECT_EQ(sandbox_process("lab"), 4711);
}

TEST_F(RunFolderTest, AFolderThatOthersMayWriteIsRefused) {
  std::filesystem::create_directories(base);
  chmod(base.c_str(), 0777);
  EXPECT_EQ(
      refusal_of("lab"),
      base.string() +
          " is not a folder that only this user may write to; remove it, or set CHASSIS_RUN_DIR to another "
          "folder");
}

}  // namespace
}  // namespace chassis
