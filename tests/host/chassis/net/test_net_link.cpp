#include "host/chassis/net/net_link.h"

#include "host/chassis/net/tun.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/files.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

struct NetLink : test::PrivateNetwork {
  host::Descriptor device = make_tun("wire", TunKind::ethernet).value();
};

TEST_F(NetLink, GoesUpAndDown) {
  EXPECT_EQ(sentence_of(set_link_up("wire", true)), "");
  EXPECT_TRUE(test::is_up("wire"));
  EXPECT_EQ(sentence_of(set_link_up("wire", false)), "");
  EXPECT_FALSE(test::is_up("wire"));
}

TEST_F(NetLink, HasTheSizeAndTheAddressesThatItIsGiven) {
  EXPECT_EQ(sentence_of(set_mtu("wire", 2048)), "");
  EXPECT_EQ(test::ask_link("wire", SIOCGIFMTU).ifr_mtu, 2048);
  EXPECT_EQ(sentence_of(set_mac("wire", {2, 0, 0, 0, 11, 0xfe})), "");
  EXPECT_EQ(test::mac_of("wire"), (std::vector{2, 0, 0, 0, 11, 0xfe}));
  EXPECT_EQ(sentence_of(set_address("wire", "10.0.100.1/23")), "");
  EXPECT_EQ(test::address_of("wire", SIOCGIFADDR), "10.0.100.1");
  EXPECT_EQ(test::address_of("wire", SIOCGIFNETMASK), "255.255.254.0");
}

TEST_F(NetLink, MayHaveAnAddressOfTheWholeInternet) {
  EXPECT_EQ(sentence_of(set_address("wire", "10.0.100.1/0")), "");
  EXPECT_EQ(test::address_of("wire", SIOCGIFNETMASK), "0.0.0.0");
}

TEST_F(NetLink, IsNamedByEveryFailure) {
  EXPECT_EQ(sentence_of(set_link_up("none", true)),
            "interface none: reading its flags failed: No such device");
  EXPECT_EQ(sentence_of(set_mtu("wire", 1)), "interface wire: setting its MTU failed: Invalid argument");
  EXPECT_EQ(sentence_of(set_address("wire", "10.0.100.1")),
            "interface wire: '10.0.100.1' is not an address like 10.0.100.1/24");
  EXPECT_EQ(sentence_of(set_link_up("a-name-of-16-bts", true)),
            "'a-name-of-16-bts' is too long for an interface name");
}

TEST_F(NetLink, ThatIsMadeLaterDoesNotSpeakIpv6) {
  disable_ipv6();
  const auto later = make_tun("later", TunKind::ethernet).value();
  EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/later/disable_ipv6"), "1\n");
}

}  // namespace
}  // namespace chassis
