#include "host/chassis/sandbox/sandbox_entry.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "host/chassis/sandbox/run_folder.h"
#include "tests/host/chassis/sandbox/in_child.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

using host::test::sentence_of;

constexpr std::array<const char *, 5> kinds{"user", "net", "ipc", "uts", "mnt"};

/// Identities of a process's namespaces.
std::array<ino_t, 5> namespaces_of(const std::string &process) {
  std::array<ino_t, 5> found{};
  for (std::size_t place = 0; place < kinds.size(); ++place) {
    struct stat status {};
    if (stat(("/proc/" + process + "/ns/" + kinds[place]).c_str(), &status) == 0)
      found[place] = status.st_ino;
  }
  return found;
}

/// A process in namespaces of its own, and the one that made it.
struct Sandbox {
  Sandbox() {
    std::array<int, 2> told{};
    if (pipe2(told.data(), O_CLOEXEC) != 0) return;
    outer = fork();
    if (outer == 0) hold(told[1]);
    close(told[1]);
    if (read(told[0], &inner, sizeof inner) != sizeof inner) ADD_FAILURE() << "no namespaces";
    close(told[0]);
  }
  Sandbox(const Sandbox &) = delete;
  Sandbox &operator=(const Sandbox &) = delete;
  ~Sandbox() {
    if (inner > 0) kill(inner, SIGKILL);
    waitpid(outer, nullptr, 0);
  }
  [[noreturn]] static void hold(int teller) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWPID) != 0)
      _exit(1);
    const pid_t child = fork();
    if (child == 0) pause();
    (void)!write(teller, &child, sizeof child);
    waitpid(child, nullptr, 0);
    _exit(0);
  }
  pid_t outer = -1, inner = -1;
};

struct SandboxEntry : testing::Test {
  SandboxEntry() { setenv("CHASSIS_RUN_DIR", base.path().c_str(), 1); }
  ~SandboxEntry() override {
    for (const char *name : {"CHASSIS_RUN_DIR", "CHASSIS_NAME", "OPAL_RUN_DIR"}) unsetenv(name);
  }
  TemporaryFolder base;
};

TEST_F(SandboxEntry, LeadsIntoEveryNamespaceOfTheSandboxAndKeepsTheFolder) {
  const RunFolder folder = RunFolder::make("lab").value();
  const Sandbox sandbox;
  record_sandbox_process(folder.path(), sandbox.inner);
  announce_sandbox(folder.path());
  const auto expected = namespaces_of(std::to_string(sandbox.inner));
  EXPECT_TRUE(test::in_child([&] {
    const auto current = std::filesystem::current_path();
    return enter_sandbox("") && namespaces_of("self") == expected &&
           std::filesystem::current_path() == current && getenv("CHASSIS_NAME") == std::string("lab") &&
           getenv("OPAL_RUN_DIR") == std::string("/run/opal");
  }));
}

TEST_F(SandboxEntry, WaitsForNoSandboxThatStillStarts) {
  const RunFolder folder = RunFolder::make("lab").value();
  EXPECT_EQ(sentence_of(enter_sandbox("lab")), "the chassis 'lab' is still starting; try again");
}

TEST_F(SandboxEntry, IsDoneInsideAndImpossibleIntoAnother) {
  setenv("CHASSIS_NAME", "lab", 1);
  setenv("OPAL_RUN_DIR", "/run/opal", 1);
  EXPECT_EQ(sentence_of(enter_sandbox("")), "");
  EXPECT_EQ(sentence_of(enter_sandbox("lab")), "");
  EXPECT_EQ(sentence_of(enter_sandbox("other")),
            "this command runs inside the chassis 'lab' and cannot reach 'other'");
}

}  // namespace
}  // namespace chassis
