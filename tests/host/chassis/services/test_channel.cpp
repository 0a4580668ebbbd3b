// Port-channels: their notices, joining and leaving, and the member that carries them.
#include "tests/host/chassis/run/bench.h"

namespace chassis {
namespace {

constexpr std::uint32_t channel_7 = 22U << 24 | 7U;

Description with_channel() {
  Description description = four_ports();
  description.port_channels.push_back({7, {FrontPort{2}, FrontPort{3}}, {VlanId{100}, sol_vlan}});
  return description;
}

class Channels : public Bench {
 protected:
  void start_subscribed(Description description) {
    start(std::move(description));
    come_up();
    subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
    subscribe(QBUS_OPC_LTLSVC_CBL_CHANGE);
    first_states_ = next_states();
    first_forwarding_ = next_forwarding();
  }
  chanagg_pc_info_t info() {
    return ask_record<bus::PortChannelInfo>(bus::address::chanagg, bus::opcode::port_channel_info,
                                            bus::Interface{channel_7})
        .info;
  }
  std::vector<portsvc_l2_port_state_t> first_states_;
  std::vector<ltlsvc_port_cbl_t> first_forwarding_;
};

TEST_F(Channels, AChannelIsToldInPlaceOfItsMembers) {
  start_subscribed(with_channel());
  ASSERT_EQ(first_states_.size(), 2U);
  EXPECT_EQ(first_states_[0].ifindex, channel_7);
  EXPECT_EQ(first_states_[0].num_active_ports, 2U);
  EXPECT_EQ(to_ranges(from_record(first_states_[0].vlan_up_bmp)), "100,4095");
  EXPECT_EQ(first_states_[1].ifindex, ethernet);
  ASSERT_EQ(first_forwarding_.size(), 2U);
  EXPECT_EQ(info().member_count, 2U);
  EXPECT_EQ(info().member[1], ethernet | 2U);
  EXPECT_EQ(info().fop_ifindex, ethernet | 1U);
}

TEST_F(Channels, AMemberThatGoesDownIsNotToldButItsChannelIsToldAnew) {
  start_subscribed(with_channel());
  EXPECT_TRUE(control({{"verb", "link"}, {"port", "blade2"}, {"up", false}})["handled_by_daemon"]);
  const auto states = next_states();
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states[0].ifindex, channel_7);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_DOWN);
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_down_bmp)), "100,4095");
  EXPECT_EQ(states[1].ifindex, channel_7);
  EXPECT_EQ(states[1].link_state, PORTSVC_LINK_UP);
  EXPECT_EQ(next_forwarding().size(), 1U);
  EXPECT_EQ(info().fop_ifindex, ethernet | 2U);
}

TEST_F(Channels, MembersCanBeAskedForUntilTheDownNoticeHasBeenHandled) {
  start_subscribed(with_channel());
  answers_barriers_ = false;
  const std::string request =
      nlohmann::json{{"verb", "link"}, {"port", "port-channel 7"}, {"up", false}}.dump();
  ASSERT_TRUE(caller_->send(bus::address::control, bus::Kind::request, bus::opcode::control, 900,
                            bus::bytes_of_text(request)));
  EXPECT_EQ(next_states().at(0).link_state, PORTSVC_LINK_DOWN);
  EXPECT_EQ(info().fop_ifindex, ethernet | 1U);
  const auto barrier = next_message();
  ASSERT_TRUE(barrier && barrier->opcode == bus::opcode::barrier);
  answer(*barrier, bus::bytes_of(bus::Result{0}));
  EXPECT_TRUE(run_until(loop_, [this] { return info().fop_ifindex == 0; }));
  EXPECT_EQ(info().member_count, 2U);
}

TEST_F(Channels, APortThatJoinsGoesDownBeforeTheChannelComesUp) {
  start_subscribed(four_ports());
  EXPECT_TRUE(control({{"verb", "channel"}, {"channel", 7}, {"port", "1/3"}, {"member", true}})["ok"]);
  const auto states = next_states();
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states[0].ifindex, ethernet | 2U);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_DOWN);
  EXPECT_EQ(states[1].ifindex, channel_7);
  EXPECT_EQ(states[1].link_state, PORTSVC_LINK_UP);
  EXPECT_EQ(to_ranges(from_record(states[1].vlan_up_bmp)), "100,200,4095");
}

TEST_F(Channels, TheLastMemberThatLeavesEndsTheChannelAndReturnsAsAPort) {
  Description description = with_channel();
  description.port_channels[0].members = {FrontPort{2}};
  start_subscribed(description);
  EXPECT_TRUE(control({{"verb", "channel"}, {"channel", 7}, {"port", "2"}, {"member", false}})["ok"]);
  const auto states = next_states();
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states[0].ifindex, channel_7);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_DOWN);
  EXPECT_EQ(states[1].ifindex, ethernet | 1U);
  EXPECT_EQ(to_ranges(from_record(states[1].vlan_up_bmp)), "100,200,4095");
  const auto gone = ask_record<bus::PortChannelInfo>(bus::address::chanagg, bus::opcode::port_channel_info,
                                                     bus::Interface{channel_7});
  EXPECT_EQ(gone.rcode, static_cast<std::uint32_t>(RCODE_NOT_FOUND));
}

TEST_F(Channels, MembersCarryWhatTheChannelCarries) {
  start_subscribed(with_channel());
  EXPECT_FALSE(fabric_.port(AsicPort{1}).allowed[200]);
  EXPECT_TRUE(
      control({{"verb", "cbl"}, {"port", "port-channel 7"}, {"vlan", 100}, {"forward", false}})["ok"]);
  EXPECT_FALSE(fabric_.port(AsicPort{1}).forwarding[100]);
  EXPECT_FALSE(fabric_.port(AsicPort{2}).forwarding[100]);
  EXPECT_TRUE(fabric_.port(AsicPort{0}).forwarding[100]);
  const auto forwarding = next_forwarding();
  ASSERT_EQ(forwarding.size(), 1U);
  EXPECT_EQ(forwarding[0].if_idx, channel_7);
}

TEST_F(Channels, AMembersOwnVlansCannotBeChanged) {
  start_subscribed(with_channel());
  const auto answer = control({{"verb", "vlan"}, {"port", "2"}, {"vlan", 100}, {"up", false}});
  EXPECT_FALSE(answer["ok"]);
  EXPECT_EQ(answer["error"], "ethernet 1/2 is a member of port-channel 7; name the port-channel instead");
}

}  // namespace
}  // namespace chassis
