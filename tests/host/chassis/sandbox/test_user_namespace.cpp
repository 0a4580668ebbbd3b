#include "host/chassis/sandbox/user_namespace.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <sstream>

#include "tests/host/chassis/sandbox/in_child.h"
#include "tests/host/system/files.h"

namespace chassis {
namespace {

/// An id map in which the inner number replaces the outer number on every line.
std::string to_itself(const std::string &map) {
  std::istringstream lines(map);
  std::string result;
  for (std::string inside, outside, count; lines >> inside >> outside >> count;)
    result += inside + ' ' + inside + ' ' + count + '\n';
  return result;
}

std::string without_gaps(const std::string &map) {
  std::istringstream words(map);
  std::string result;
  for (std::string inside, outside, count; words >> inside >> outside >> count;)
    result += inside + ' ' + outside + ' ' + count + '\n';
  return result;
}

TEST(UserNamespace, HasAllUsersAndGroupsOfRootsAndLeavesNoProcess) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may map every user";
  const std::string users = to_itself(read_file("/proc/self/uid_map")),
                    groups = to_itself(read_file("/proc/self/gid_map"));
  const host::Descriptor made = make_full_user_namespace();
  EXPECT_TRUE(made);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_TRUE(test::in_child([&] {
    return setns(made.get(), CLONE_NEWUSER) == 0 && without_gaps(read_file("/proc/self/uid_map")) == users &&
           without_gaps(read_file("/proc/self/gid_map")) == groups;
  }));
}

TEST(UserNamespace, IsNotMadeForAnOrdinaryUser) {
  EXPECT_TRUE(test::in_child([] {
    if (geteuid() == 0 && seteuid(65534) != 0) return false;
    return !make_full_user_namespace();
  }));
}

}  // namespace
}  // namespace chassis
