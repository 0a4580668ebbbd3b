// The device as the daemon uses it, with a mount, `open` and `ioctl`, in a user namespace of this process.
#include "host/chassis/kernel_module/klm_device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "host/system/descriptor.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

constexpr std::uint32_t known_port = 0x1a000002;

/// Gives this process the right to mount, whichever user started it. Once for all tests.
std::string enter_mount_namespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return "user namespaces are forbidden here";
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 ? ""
                                                                         : "mounts cannot be made private";
}

struct KlmDeviceTest : testing::Test {
  void SetUp() override {
    static const std::string refusal = enter_mount_namespace();
    if (!refusal.empty()) GTEST_SKIP() << refusal;
    file = std::filesystem::temp_directory_path() / ("klm" + std::to_string(getpid()));
    std::ofstream(file) << "";
    ASSERT_EQ(host::test::sentence_of(device->mount(file)), "");
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    stop_read = host::Descriptor(ends[0]);
    stop_write = host::Descriptor(ends[1]);
    server = std::thread([this] { serve(); });
    opened = host::Descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(opened);
  }

  void TearDown() override {
    finish();
    device.reset();
    std::filesystem::remove(file);
  }

  void serve() {
    std::array<pollfd, 2> waiting{pollfd{device->fd(), POLLIN, 0}, pollfd{stop_read.get(), POLLIN, 0}};
    while (poll(waiting.data(), waiting.size(), -1) > 0 && waiting[1].revents == 0) device->serve();
  }

  /// Ends the server, so that a test may read the device.
  void finish() {
    opened = host::Descriptor();  // closing sends the server a request too
    stop_write = host::Descriptor();
    if (server.joinable()) server.join();
  }

  int error_of(unsigned long request, void *argument) {
    return ioctl(opened.get(), request, argument) == 0 ? 0 : errno;
  }

  static bool knows(IfIndex index) { return index.value == known_port; }
  static bool count(IfIndex index, teskk_port_counters_t &counters) {
    counters = {index.value, 1, 2, 3, 4};
    return knows(index);
  }

  std::unique_ptr<KlmDevice> device = std::make_unique<KlmDevice>(knows, count);
  std::filesystem::path file;
  host::Descriptor stop_read, stop_write, opened;
  std::thread server;
};

TEST_F(KlmDeviceTest, TheFourWritingRequestsArriveWithTheirRecords) {
  teskk_port_list_t ports{};
  ports.port_cnt = 1;
  ports.port_lst[0].if_idx = known_port;
  teskk_vlan_list_t vlans{};
  vlans.vlan_cnt = 2;
  vlans.vlan_lst[0] = {100, 4};
  vlans.vlan_lst[1] = {200, 8};
  std::uint16_t vlan = 200;
  EXPECT_EQ(error_of(TESKK_ADD_OR_UPDATE_PORTS, &ports), 0);
  EXPECT_EQ(error_of(TESKK_ADD_OR_UPDATE_VLANS, &vlans), 0);
  EXPECT_EQ(error_of(TESKK_DEL_VLAN, &vlan), 0);
  EXPECT_EQ(error_of(TESKK_DEL_VLAN, &vlan), ENOENT);
  std::uint32_t port = known_port;
  EXPECT_EQ(error_of(TESKK_DEL_PORT, &port), 0);
  finish();
  EXPECT_EQ(device->mirror().vlans.size(), 1U);
  EXPECT_EQ(device->mirror().vlans.at({100}).ltl_cbl, 4U);
  EXPECT_TRUE(device->mirror().ports.empty());
  EXPECT_EQ(device->accepted(), 4U);
  EXPECT_EQ(device->refused(), 1U);
}

TEST_F(KlmDeviceTest, TheCountersRequestReadsTheIndexFromTheCaller) {
  teskk_port_counters_t counters{known_port, 9, 9, 9, 9};
  ASSERT_EQ(error_of(TESKK_GET_PORT_COUNTERS, &counters), 0);
  EXPECT_EQ(counters.if_idx, known_port);
  EXPECT_EQ(counters.tx_ucast, 1U);
  EXPECT_EQ(counters.tx_mcast, 2U);
  EXPECT_EQ(counters.rx_ucast, 3U);
  EXPECT_EQ(counters.rx_mcast, 4U);
  counters.if_idx = known_port + 1;
  EXPECT_EQ(error_of(TESKK_GET_PORT_COUNTERS, &counters), EINVAL);
}

TEST_F(KlmDeviceTest, BadArgumentsAndRequestsGetTheErrnoThatFits) {
  EXPECT_EQ(error_of(TESKK_GET_PORT_COUNTERS, nullptr), EFAULT);
  EXPECT_EQ(error_of(TESKK_ADD_OR_UPDATE_PORTS, nullptr), EFAULT);
  teskk_vlan_list_t vlans{};
  EXPECT_EQ(error_of(_IOW('s', 9, teskk_vlan_list_t), &vlans), ENOTTY);
  vlans.vlan_cnt = 16;
  EXPECT_EQ(error_of(TESKK_ADD_OR_UPDATE_VLANS, &vlans), EINVAL);
}

TEST(KlmDeviceMount, AMissingFileIsToldInOneSentence) {
  KlmDevice device([](IfIndex) { return false; }, [](IfIndex, auto &) { return false; });
  EXPECT_NE(host::test::sentence_of(device.mount("/nowhere/klm")), "");
  EXPECT_EQ(device.fd(), -1);
}

}  // namespace
}  // namespace chassis
