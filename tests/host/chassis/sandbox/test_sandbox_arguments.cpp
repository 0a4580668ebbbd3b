#include "host/chassis/sandbox/sandbox_arguments.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

using Words = std::vector<std::string>;

bool has(const Words &arguments, const Words &words) {
  return std::search(arguments.begin(), arguments.end(), words.begin(), words.end()) != arguments.end();
}

const SandboxPlan plan{"/dev/shm/lab", "/opt/tesk", "lab", "/opt/daemon/tesk", {"/bin/sh", "-c", "true"}, {}};

TEST(SandboxArguments, EndWithTheCommand) {
  const Words arguments = sandbox_arguments(plan, {5, -1, 6});
  EXPECT_EQ(arguments.front(), "bwrap");
  EXPECT_EQ(Words(arguments.end() - 6, arguments.end()),
            (Words{"--info-fd", "5", "--", "/bin/sh", "-c", "true"}));
}

TEST(SandboxArguments, NameAUserNamespaceWhenThereIsOne) {
  const Words own = sandbox_arguments(plan, {5, -1, 6}), given = sandbox_arguments(plan, {5, 7, 6});
  EXPECT_TRUE(has(own, {"--unshare-user"}));
  EXPECT_FALSE(has(own, {"--userns"}));
  EXPECT_TRUE(has(given, {"--userns", "7"}));
  EXPECT_FALSE(has(given, {"--unshare-user"}));
}

TEST(SandboxArguments, ShowTheMachineReadOnlyAndThePlansFolders) {
  const Words arguments = sandbox_arguments(plan, {5, -1, 6});
  EXPECT_TRUE(has(arguments, {"--ro-bind-try", "/etc", "/etc"}));
  EXPECT_FALSE(has(arguments, {"--ro-bind-try", "/run", "/run"}));
  EXPECT_TRUE(has(arguments, {"--ro-bind", "/opt/tesk", "/opt/tesk"}));
  EXPECT_TRUE(has(arguments, {"--ro-bind", "/opt/daemon/tesk", "/opt/daemon/tesk"}));
  EXPECT_TRUE(has(arguments, {"--bind", "/dev/shm/lab", "/run/opal"}));
}

TEST(SandboxArguments, LetTheCurrentFolderBeWrittenUnlessItIsTheRoot) {
  const auto before = std::filesystem::current_path();
  const TemporaryFolder folder;
  const std::string current = folder.path();
  std::filesystem::current_path(folder.path());
  EXPECT_TRUE(has(sandbox_arguments(plan, {5, -1, 6}), {"--bind", current, current}));
  std::filesystem::current_path("/");
  EXPECT_FALSE(has(sandbox_arguments(plan, {5, -1, 6}), {"--bind", "/", "/"}));
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace chassis
