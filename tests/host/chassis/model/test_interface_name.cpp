#include "host/chassis/model/interface_name.h"

#include <gtest/gtest.h>

#include "host/chassis/model/board_ports.h"
#include "tests/host/chassis/model/four_ports.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

TEST(InterfaceNames, AreFoundInEverySpelling) {
  Fabric fabric([](AsicPort, auto) {}, [](auto) {});
  Description description = four_ports();
  description.port_channels.push_back({7, {FrontPort{2}}, {}});
  const ChassisState state(description, fabric, {});
  for (const char *text : {"3", "1/3", "ethernet 1/3", "ethernet1/3", "blade3"}) {
    EXPECT_EQ(find_interface(state, text), if_index(FrontPort{3})) << text;
  }
  EXPECT_EQ(find_interface(state, "port-channel 7"), channel_index(7));
  for (const char *text :
       {"", "0", "21", "2/3", "blade9", "3x", "-1", "ethernet", "port-channel", "port-channel 8", "65539"}) {
    EXPECT_NE(sentence_of(find_interface(state, text)), "") << text;
  }
  EXPECT_NE(sentence_of(find_port(state, "port-channel 7")), "");
}

TEST(InterfaceNames, ArePrintedAsPeopleWriteThem) {
  EXPECT_EQ(interface_name(IfIndex{26U << 24 | 2U}), "ethernet 1/3");
  EXPECT_EQ(interface_name(IfIndex{22U << 24 | 7U}), "port-channel 7");
  EXPECT_EQ(interface_name(IfIndex{5U << 24 | 1U}), "mgmt1");
  EXPECT_EQ(interface_name(IfIndex{0xFF000001}), "0xff000001");
  EXPECT_EQ(interface_name(IfIndex{26U << 24 | 20U}), "0x1a000014") << "no chassis has a port 21";
}

}  // namespace
}  // namespace chassis
