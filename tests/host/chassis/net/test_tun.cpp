#include "host/chassis/net/tun.h"

#include "host/chassis/net/net_link.h"
#include "tests/host/chassis/asic/frames.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;
using test::operator+;

struct Tun : test::PrivateNetwork {
  static host::Descriptor up(const std::string &name, TunKind kind) {
    host::Descriptor device = make_tun(name, kind).value();
    test::must(set_link_up(name, true));
    return device;
  }
};

TEST_F(Tun, OfEthernetCarriesWholeFramesBothWays) {
  disable_ipv6();
  const auto device = up("wire", TunKind::ethernet);
  const auto socket = test::packet_socket("wire", 0x88b5);
  auto frame = test::bytes({2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 0x88, 0xb5});
  frame.resize(60, std::byte{0x5a});
  test::put(socket.get(), frame);
  EXPECT_EQ(test::next_from(device.get()), frame);
  test::put(device.get(), frame);
  EXPECT_EQ(test::next_from(socket.get()), frame);
}

TEST_F(Tun, WithProtocolHasFourBytesBeforeAFrame) {
  disable_ipv6();
  const auto device = up("inband", TunKind::with_protocol);
  const auto socket = test::packet_socket("inband", 0xf102);
  const auto frame = test::tagged_frame(100);
  const auto prefix = test::bytes({0, 0, 0xf1, 0x02});
  test::put(device.get(), prefix + frame);
  EXPECT_EQ(test::next_from(socket.get()), frame);
  test::put(socket.get(), frame);
  EXPECT_EQ(test::next_from(device.get()), prefix + frame);
}

TEST_F(Tun, OutlivesItsDescriptorWhichDoesNotBlock) {
  {
    const auto device = make_tun("wire", TunKind::ethernet).value();
    char byte = 0;
    EXPECT_EQ(read(device.get(), &byte, 1), -1);
    EXPECT_NE(fcntl(device.get(), F_GETFL) & O_NONBLOCK, 0);
  }
  EXPECT_NE(if_nametoindex("wire"), 0U);
}

TEST_F(Tun, HasTheCarrierThatItIsGiven) {
  const auto device = up("wire", TunKind::ethernet);
  EXPECT_EQ(sentence_of(set_carrier(device, false)), "");
  EXPECT_FALSE(test::has_carrier("wire"));
  EXPECT_EQ(sentence_of(set_carrier(device, true)), "");
  EXPECT_TRUE(test::has_carrier("wire"));
  EXPECT_EQ(sentence_of(set_carrier(host::Descriptor(), true)),
            "the carrier of an interface cannot be switched: Bad file descriptor");
}

TEST_F(Tun, IsRefusedANameThatIsTakenOrTooLong) {
  const auto device = make_tun("wire", TunKind::ethernet).value();
  EXPECT_EQ(sentence_of(make_tun("wire", TunKind::ethernet)),
            "interface wire cannot be made: Device or resource busy");
  EXPECT_EQ(sentence_of(make_tun("a-name-of-16-bts", TunKind::ethernet)),
            "'a-name-of-16-bts' is too long for an interface name");
}

}  // namespace
}  // namespace chassis
