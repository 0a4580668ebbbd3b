#include "host/chassis/wires/node.h"

#include <algorithm>
#include <asio/io_context.hpp>

#include "host/chassis/asic/fabric.h"
#include "tests/host/chassis/asic/frames.h"
#include "tests/host/chassis/base/run_until.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using test::Bytes;
using test::operator+;

/// A blade, and the test inside it, at the blade's interfaces.
struct NodeTest : test::PrivateNetwork {
  NodeTest() {
    node = Node::make(loop, make_node("blade1", {VlanId{100}, VlanId{200}}, 11), 11, [this](auto buffer) {
             const auto frame = buffer.subspan(asic_header_bytes);
             sent.emplace_back(frame.begin(), frame.end());
           }).value();
    test::must(enter_net_namespace("blade1"));
  }
  void expect_sent(const Bytes &frame) {
    EXPECT_TRUE(run_until(loop, [this] { return !sent.empty(); }));
    EXPECT_EQ(sent, std::vector<Bytes>{frame});
  }

  asio::io_context loop;
  std::unique_ptr<Node> node;
  std::vector<Bytes> sent;
};

const Bytes untagged = test::bytes({2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 0x88, 0xb5, 7});

TEST_F(NodeTest, HasTheAddressesOfItsStationAndVlans) {
  EXPECT_EQ(test::mac_of("trunk0"), (std::vector{2, 0, 0, 0, 11, 0}));
  EXPECT_EQ(test::mac_of("vlan200"), (std::vector{2, 0, 0, 0, 11, 2}));
  EXPECT_EQ(test::address_of("vlan200", SIOCGIFADDR), "10.0.200.11");
}

TEST_F(NodeTest, GetsAFrameOnTheTrunkAndWithoutItsTagInItsVlan) {
  const auto trunk = test::packet_socket("trunk0"), vlan100 = test::packet_socket("vlan100"),
             vlan200 = test::packet_socket("vlan200");
  const auto frame = test::tagged_frame(100);
  node->deliver(frame);
  Bytes without_tag(frame.begin(), frame.begin() + 12);
  without_tag.insert(without_tag.end(), frame.begin() + 16, frame.end());
  // The kernel takes a tag off a frame that it receives, and keeps it beside the frame.
  EXPECT_EQ(test::tag_beside_next(vlan100.get()), -1);
  EXPECT_EQ(test::next_from(vlan100.get()), without_tag);
  EXPECT_EQ(test::tag_beside_next(trunk.get()), 100);
  EXPECT_EQ(test::next_from(trunk.get()), without_tag);
  EXPECT_EQ(test::next_from(vlan200.get(), 0), Bytes{});
}

TEST_F(NodeTest, SendsFromAVlanWithTheTagAndPadded) {
  test::put(test::packet_socket("vlan200").get(), untagged);
  Bytes tagged(untagged.begin(), untagged.begin() + 12);
  tagged = tagged + test::bytes({0x81, 0x00, 0, 200, 0x88, 0xb5, 7});
  tagged.resize(wire_frame_min);
  expect_sent(tagged);
}

TEST_F(NodeTest, SendsFromTheTrunkAsItIs) {
  const auto frame = test::tagged_frame(300, false, 1600);
  test::put(test::packet_socket("trunk0").get(), frame);
  expect_sent(frame);
}

TEST_F(NodeTest, SeesTheLinkOfEveryInterfaceGoDownAndUp) {
  for (const bool up : {false, true}) {
    EXPECT_EQ(host::test::sentence_of(node->set_link(up)), "");
    for (const char *interface : {"trunk0", "vlan100", "vlan200"})
      EXPECT_EQ(test::has_carrier(interface), up) << interface;
  }
}

}  // namespace
}  // namespace chassis
