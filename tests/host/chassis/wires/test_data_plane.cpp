#include "host/chassis/wires/data_plane.h"

#include <asio/io_context.hpp>
#include <nlohmann/json.hpp>

#include "host/chassis/net/net_link.h"
#include "host/chassis/net/net_namespace.h"
#include "tests/host/chassis/asic/frames.h"
#include "tests/host/chassis/base/run_until.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {
namespace {

using host::test::sentence_of;
using test::Bytes;
using test::operator+;

/// The default chassis of two blades, the second with its link down. The test is the daemon, and every node.
struct DataPlaneTest : test::PrivateNetwork {
  DataPlaneTest() {
    disable_ipv6();
    Description description = default_description();
    description.ports.resize(2);
    description.ports[1].link_up = false;
    plane = DataPlane::make(loop, description, folder.path()).value();
    plane->fabric().port(AsicPort{0}) = {true, true, VlanSet{}.set(), VlanSet{}.set()};
    inband = test::packet_socket("inb0", 0xf102);
    management = test::packet_socket("mgmt0", 0xf102);
  }

  /// Opens a socket at the trunk of a node, and leaves the thread in that node.
  static host::Descriptor trunk_of(const std::string &node) {
    test::must(enter_net_namespace(node));
    return test::packet_socket("trunk0");
  }
  /// Runs the chassis until a packet socket of the daemon receives a frame. @return that frame
  Bytes next_from(const host::Descriptor &socket) {
    Bytes bytes;
    run_until(loop, [&] { return !(bytes = test::next_from(socket.get(), 0)).empty(); });
    return bytes;
  }
  nlohmann::json link() const { return plane->status()["management_link"]; }

  TemporaryFolder folder;
  asio::io_context loop;
  std::unique_ptr<DataPlane> plane;
  host::Descriptor inband, management;
};

TEST_F(DataPlaneTest, CarriesABladesFrameToTheDaemonBehindItsHeaderAndCountsIt) {
  const auto frame = test::tagged_frame(4095);
  test::put(trunk_of("blade1").get(), frame);
  const Bytes got = next_from(inband);
  ASSERT_EQ(got.size(), asic_header_bytes + frame.size());
  EXPECT_EQ(Bytes(got.begin() + asic_header_bytes, got.end()), frame);
  EXPECT_EQ(plane->status()["inb0"]["to_daemon"], 1);
  EXPECT_EQ(plane->inband_counters().port(AsicPort{0}).rx.ucast, 1U);
}

TEST_F(DataPlaneTest, CarriesTheDaemonsFrameToTheBlade) {
  test::put(inband.get(), test::from_host_header(1) + test::tagged_frame(100));
  const auto trunk = trunk_of("blade1");
  EXPECT_EQ(next_from(trunk).size(), 56U);  // the kernel keeps the tag beside the frame
  EXPECT_EQ(plane->fabric().counters(AsicPort{0}).tx.ucast, 1U);
}

TEST_F(DataPlaneTest, CarriesManagementFramesBothWaysAndCountsThem) {
  const auto frame = test::tagged_frame(100, true);
  const auto trunk = trunk_of("amm");
  test::put(trunk.get(), frame);
  EXPECT_EQ(next_from(management), frame);
  test::put(management.get(), frame);
  EXPECT_EQ(next_from(trunk).size(), 56U);
  EXPECT_EQ(link()["rx"]["mcast"], 1);
  EXPECT_EQ(link()["tx"]["mcast"], 1);
  EXPECT_EQ(plane->inband_counters().management().rx.mcast, 1U);
  EXPECT_EQ(plane->inband_counters().management().tx.mcast, 1U);
}

TEST_F(DataPlaneTest, DropsManagementFramesWithoutATagOnBothSides) {
  auto frame = test::tagged_frame(100);
  frame[12] = std::byte{0x08};
  test::put(management.get(), frame);
  test::put(trunk_of("amm").get(), frame);
  EXPECT_TRUE(run_until(loop, [this] { return link()["dropped"]["untagged"] == 2; }));
  EXPECT_EQ(plane->status()["mgmt0"]["to_daemon"], 0);
}

TEST_F(DataPlaneTest, ShowsEachBladeTheLinkOfItsPort) {
  test::must(enter_net_namespace("blade2"));
  EXPECT_FALSE(test::has_carrier("trunk0"));
  EXPECT_EQ(sentence_of(plane->set_link(AsicPort{1}, true)), "");
  EXPECT_TRUE(test::has_carrier("trunk0"));
  EXPECT_EQ(sentence_of(plane->set_link(AsicPort{7}, true)), "");  // nobody is there
}

}  // namespace
}  // namespace chassis
