#include "host/chassis/wires/daemon_device.h"

#include <asio/io_context.hpp>

#include "host/chassis/net/net_link.h"
#include "tests/host/chassis/asic/frames.h"
#include "tests/host/chassis/base/run_until.h"
#include "tests/host/chassis/net/private_network.h"

namespace chassis {
namespace {

using test::Bytes;

/// The test is the daemon, at a packet socket.
struct DaemonDeviceTest : test::PrivateNetwork {
  DaemonDeviceTest() {
    disable_ipv6();
    device = DaemonDevice::make(loop, "inb0", [this](auto frame) {
               arrived.emplace_back(frame.begin(), frame.end());
             }).value();
  }

  asio::io_context loop;
  std::vector<Bytes> arrived;
  std::unique_ptr<DaemonDevice> device;
};

TEST_F(DaemonDeviceTest, CarriesFramesOfTheDaemonsSizeBothWaysUntouched) {
  const auto daemon = test::packet_socket("inb0", 0xf102);
  const auto frame = test::tagged_frame(100, false, 2584);
  EXPECT_TRUE(device->send(frame));
  EXPECT_EQ(test::next_from(daemon.get()), frame);
  test::put(daemon.get(), frame);
  EXPECT_TRUE(run_until(loop, [this] { return !arrived.empty(); }));
  EXPECT_EQ(arrived, std::vector<Bytes>{frame});
  EXPECT_EQ(device->counters().to_daemon, 1U);
  EXPECT_EQ(device->counters().from_daemon, 1U);
}

TEST_F(DaemonDeviceTest, CountsFramesOfOtherProtocolsAndHandsOverNone) {
  test::put(test::packet_socket("inb0", 0x88b5).get(), test::tagged_frame(100));
  EXPECT_TRUE(run_until(loop, [this] { return device->counters().foreign == 1; }));
  EXPECT_TRUE(arrived.empty());
}

TEST_F(DaemonDeviceTest, CountsAFrameThatTheKernelRefuses) {
  test::must(set_link_up("inb0", false));
  EXPECT_FALSE(device->send(test::tagged_frame(100)));
  EXPECT_EQ(device->counters().refused, 1U);
  EXPECT_EQ(device->counters().to_daemon, 0U);
}

}  // namespace
}  // namespace chassis
