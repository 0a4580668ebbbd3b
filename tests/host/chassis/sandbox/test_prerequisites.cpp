#include "host/chassis/sandbox/prerequisites.h"

#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/files.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

using host::test::sentence_of;

struct Prerequisites : test::PrivateNetwork {};

TEST_F(Prerequisites, AreThere) { EXPECT_EQ(sentence_of(check_prerequisites()), ""); }

TEST_F(Prerequisites, AreProgramsOfThePath) {
  const std::string path = std::getenv("PATH");
  const TemporaryFolder folder;
  setenv("PATH", ("/nowhere:" + folder.path().string()).c_str(), 1);
  EXPECT_EQ(sentence_of(check_prerequisites()),
            "bwrap, which makes the sandbox, is not installed; install the package bubblewrap");
  write_program(folder.path() / "bwrap", "");
  EXPECT_EQ(sentence_of(check_prerequisites()),
            "ip, which moves network interfaces, is not installed; install the package iproute2");
  setenv("PATH", path.c_str(), 1);
}

TEST_F(Prerequisites, AreDevicesThatTheKernelHas) {
  test::must(mount("none", "/dev/net", "tmpfs", 0, nullptr) == 0, "empty /dev/net");
  const std::string sentence = sentence_of(check_prerequisites());
  test::must(umount("/dev/net") == 0, "umount");
  EXPECT_EQ(
      sentence,
      "/dev/net/tun, which makes network devices, cannot be opened (No such file or directory); load the "
      "kernel module: modprobe tun");
}

TEST_F(Prerequisites, AreUserNamespacesThatTheMachineAllows) {
  const char *limit = "/proc/sys/user/max_user_namespaces";
  const std::string before = read_file(limit);
  std::ofstream(limit) << "0";
  const std::string sentence = sentence_of(check_prerequisites());
  std::ofstream(limit) << before;
  EXPECT_EQ(sentence.find("user namespaces, which the sandbox needs, are forbidden here (No space left"), 0U)
      << sentence;
}

}  // namespace
}  // namespace chassis
