// The control address: each verb, and each kind of wrong request.
#include "tests/host/chassis/run/bench.h"

namespace chassis {
namespace {

using nlohmann::json;

class Control : public Bench {
 protected:
  void start_subscribed() {
    start();
    come_up();
    subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
    subscribe(QBUS_OPC_LTLSVC_CBL_CHANGE);
    next_states();
    next_forwarding();
  }
};

TEST_F(Control, StatusHasEveryPart) {
  start();
  const json status = control({{"verb", "status"}});
  EXPECT_TRUE(status["ok"]);
  EXPECT_EQ(status["version"], 1);
  EXPECT_EQ(status["chassis"]["board"], 82);
  EXPECT_EQ(status["daemon"]["state"], "starting");
  EXPECT_EQ(status["ports"].size(), 20U);
  EXPECT_EQ(status["ports"][0]["vlans"]["up"], "100,200,4095");
  EXPECT_EQ(status["ports"][3]["link"], "down");
  EXPECT_EQ(status["known_vlans"], "100,200,300,4095");
  EXPECT_EQ(status["mirror"]["missing_ports"], json({"ethernet 1/1", "ethernet 1/2", "ethernet 1/3"}));
  EXPECT_EQ(status["services"].size(), 12U);
  EXPECT_EQ(status["devices"]["inb0"]["rx"], 7);
}

TEST_F(Control, LinkDownWithdrawsTheVlansAndLinkUpBringsThemBack) {
  start_subscribed();
  EXPECT_TRUE(control({{"verb", "link"}, {"port", "2"}, {"up", false}})["handled_by_daemon"]);
  auto states = next_states();
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_DOWN);
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_up_bmp)), "");
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_down_bmp)), "100,200,4095");
  EXPECT_FALSE(fabric_.port(AsicPort{1}).link_up);
  ASSERT_EQ(carrier_changes_.size(), 1U);
  EXPECT_EQ(carrier_changes_[0], std::pair(AsicPort{1}, false));

  EXPECT_TRUE(control({{"verb", "link"}, {"port", "ethernet 1/2"}, {"up", true}})["ok"]);
  states = next_states();
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_up_bmp)), "100,200,4095");
  EXPECT_EQ(next_forwarding().size(), 1U);
  EXPECT_TRUE(fabric_.port(AsicPort{1}).link_up);
}

TEST_F(Control, AnEventThatChangesNothingTellsNothing) {
  start_subscribed();
  EXPECT_TRUE(control({{"verb", "link"}, {"port", "2"}, {"up", true}})["ok"]);
  EXPECT_TRUE(nothing_waits());
  EXPECT_TRUE(carrier_changes_.empty());
}

TEST_F(Control, VlanDownAndUpOnAPort) {
  start_subscribed();
  EXPECT_TRUE(control({{"verb", "vlan"}, {"port", "1"}, {"vlan", 100}, {"up", false}})["ok"]);
  auto states = next_states();
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_UP);
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_up_bmp)), "200,4095");
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_down_bmp)), "100");
  EXPECT_FALSE(fabric_.port(AsicPort{0}).allowed[100]);
  EXPECT_TRUE(control({{"verb", "vlan"}, {"port", "1"}, {"vlan", 100}, {"up", true}})["ok"]);
  states = next_states();
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(to_ranges(from_record(states[0].vlan_up_bmp)), "100,200,4095");
  EXPECT_TRUE(fabric_.port(AsicPort{0}).allowed[100]);
}

TEST_F(Control, CblBlockAndForward) {
  start_subscribed();
  EXPECT_TRUE(control({{"verb", "cbl"}, {"port", "1"}, {"vlan", 100}, {"forward", false}})["ok"]);
  auto forwarding = next_forwarding();
  ASSERT_EQ(forwarding.size(), 1U);
  EXPECT_EQ(to_ranges(from_record(forwarding[0].vlan_cbl_bmp)), "200,4095");
  EXPECT_FALSE(fabric_.port(AsicPort{0}).forwarding[100]);
  EXPECT_EQ(control_plane_->status()["ports"][0]["vlans"]["blocked"], "100");
  EXPECT_TRUE(control({{"verb", "cbl"}, {"port", "1"}, {"vlan", 100}, {"forward", true}})["ok"]);
  forwarding = next_forwarding();
  ASSERT_EQ(forwarding.size(), 1U);
  EXPECT_TRUE(fabric_.port(AsicPort{0}).forwarding[100]);
}

TEST_F(Control, ForwardingOfAPortThatIsDownIsToldWhenItComesUp) {
  start_subscribed();
  EXPECT_TRUE(control({{"verb", "cbl"}, {"port", "4"}, {"vlan", 100}, {"forward", false}})["ok"]);
  EXPECT_TRUE(nothing_waits());
  EXPECT_TRUE(control({{"verb", "link"}, {"port", "4"}, {"up", true}})["ok"]);
  EXPECT_EQ(next_states().size(), 1U);
  const auto forwarding = next_forwarding();
  ASSERT_EQ(forwarding.size(), 1U);
  EXPECT_EQ(to_ranges(from_record(forwarding[0].vlan_cbl_bmp)), "200,4095");
}

TEST_F(Control, SaveIsPassedToTheDaemonAndItsResultBack) {
  start();
  come_up();
  const std::string request = R"({"verb":"save"})";
  ASSERT_TRUE(caller_->send(bus::address::control, bus::Kind::request, bus::opcode::control, 900,
                            bus::bytes_of_text(request)));
  const auto message = next_message();
  ASSERT_TRUE(message && message->opcode == bus::opcode::config_write);
  const auto write = bus::record_of<bus::ConfigWrite>(message->payload);
  ASSERT_TRUE(write);
  EXPECT_EQ(bus::text_of(write->bin_uri), "file://" + folder_.path().string() + "/stores/startup/");
  answer(*message, bus::bytes_of(bus::Result{RCODE_IO}));
  std::optional<bus::Message> response;
  ASSERT_TRUE(run_until(loop_, [&] {
    if (auto received = caller_->receive()) response = std::move(*received);
    return response.has_value();
  }));
  const json outcome = json::parse(bus::text_of_bytes(response->payload));
  EXPECT_FALSE(outcome["ok"]);
  EXPECT_EQ(outcome["error"], "the daemon could not save its configuration (result code 0x40010009)");
}

TEST_F(Control, SaveWithoutAnAnswerIsGivenUp) {
  start();
  come_up();
  const json outcome = control({{"verb", "save"}});
  EXPECT_EQ(outcome["error"], "the daemon did not save its configuration in time");
}

TEST_F(Control, SaveBeforeTheDaemonServesFailsAtOnce) {
  start();
  EXPECT_EQ(control({{"verb", "save"}})["error"], "nothing was saved: the daemon does not serve");
  EXPECT_EQ(ask_result(bus::address::overseer, bus::opcode::config_write, bus::Result{0}),
            static_cast<std::uint32_t>(RCODE_INVALID));
  const auto saved = ask(bus::address::overseer, bus::opcode::save, {});
  ASSERT_TRUE(saved);
  EXPECT_EQ(bus::record_of<bus::Result>(saved->payload)->rcode,
            static_cast<std::uint32_t>(RCODE_UNAVAILABLE));
}

TEST_F(Control, TraceSwitchReachesTheDaemon) {
  start();
  come_up();
  const std::string request = R"({"verb":"trace","category":"packet","print":true})";
  ASSERT_TRUE(caller_->send(bus::address::control, bus::Kind::request, bus::opcode::control, 900,
                            bus::bytes_of_text(request)));
  const auto message = next_message();
  ASSERT_TRUE(message && message->opcode == bus::opcode::trace_switch);
  const auto asked = bus::record_of<bus::TraceSwitch>(message->payload);
  ASSERT_TRUE(asked);
  EXPECT_EQ(asked->category, 100U);
  EXPECT_EQ(asked->print, 1U);
  EXPECT_EQ(asked->record, 1U);
}

TEST_F(Control, AnEventIsAnsweredEvenWhenTheDaemonDoesNotHandleIt) {
  start_subscribed();
  answers_barriers_ = false;
  const json outcome = control({{"verb", "link"}, {"port", "2"}, {"up", false}});
  EXPECT_TRUE(outcome["ok"]);
  EXPECT_FALSE(outcome["handled_by_daemon"]);
}

TEST_F(Control, WaitReadyWaitsForTheLoopOfTheDaemon) {
  start();
  EXPECT_EQ(control({{"verb", "wait-ready"}, {"bound_ms", 50}})["error"],
            "the daemon does not serve; it is starting");
  come_up();
  EXPECT_TRUE(control({{"verb", "wait-ready"}})["ok"]);
}

TEST_F(Control, ARestartClearsWhatTheDaemonLeftAndAnnouncesAgain) {
  start_subscribed();
  EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_add, bus::Vlan{100}), 0U);
  ASSERT_TRUE(ask(bus::address::vlan_mgr, QBUS_OPC_VLAN_FEAT_CREATE, bus::encode_feature_vlans({4, {100}})));
  const auto before = control_plane_->status()["daemon"]["pid"];
  const std::string request = R"({"verb":"daemon-restart"})";
  ASSERT_TRUE(caller_->send(bus::address::control, bus::Kind::request, bus::opcode::control, 900,
                            bus::bytes_of_text(request)));
  ASSERT_TRUE(run_until(loop_, [&] {
    const json daemon = control_plane_->status()["daemon"];
    return daemon["state"] == "starting" && daemon["pid"] != before;
  }));
  EXPECT_FALSE(fabric_.classified()[100]);
  const json status = control_plane_->status();
  for (const json &vlan : status["vlans"]) EXPECT_NE(vlan["vlan"], 100);
  subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
  EXPECT_EQ(next_states().size(), 3U);
  come_up();
  EXPECT_EQ(ready_, 2);
  EXPECT_TRUE(control_plane_->status()["daemon"]["outage_ms"].is_number());
  EXPECT_EQ(control_plane_->status()["daemon"]["last_exit"], "tesk was ended by signal 9 (Killed)");
}

TEST_F(Control, WrongRequestsChangeNothingAndSayWhatIsAccepted) {
  start_subscribed();
  const std::pair<const char *, const char *> rows[] = {
      {"", "the request is not a JSON object"},
      {"[]", "the request is not a JSON object"},
      {"{\"verb\":", "the request is not a JSON object"},
      {"{}", "\"verb\" must be a text"},
      {R"({"verb":"dance"})", "there is no verb \"dance\""},
      {R"({"verb":"link","port":"2"})", "\"up\" must be true or false"},
      {R"({"verb":"link","up":false,"port":2})", "\"port\" must be a text"},
      {R"({"verb":"link","up":false,"port":"21"})",
       "there is no interface \"21\"; give 1 to 20, ethernet 1/1 to 1/20, or a blade's name"},
      {R"({"verb":"link","up":false,"port":"port-channel 9"})",
       "there is no interface \"port-channel 9\"; give 1 to 20, ethernet 1/1 to 1/20, or a blade's name"},
      {R"({"verb":"vlan","up":true,"port":"1","vlan":4096})", "\"vlan\" must be a number from 1 to 4095"},
      {R"({"verb":"vlan","up":true,"port":"1","vlan":18446744073709551615})",
       "\"vlan\" must be a number from 1 to 4095"},
      {R"({"verb":"vlan","up":true,"port":"1","vlan":"100"})", "\"vlan\" must be a number from 1 to 4095"},
      {R"({"verb":"vlan","up":false,"port":"1","vlan":7})", "ethernet 1/1 does not carry VLAN 7"},
      {R"({"verb":"cbl","forward":false,"port":"1","vlan":4095})",
       "every port always forwards in the SoL VLAN, 4095"},
      {R"({"verb":"channel","member":true,"channel":0,"port":"1"})",
       "\"channel\" must be a number from 1 to 4096"},
      {R"({"verb":"channel","member":false,"channel":7,"port":"1"})",
       "ethernet 1/1 is not a member of port-channel 7"},
      {R"({"verb":"vlan-delete","vlans":[]})", "\"vlans\" must be a list of at least one VLAN"},
      {R"({"verb":"vlan-delete","vlans":[0]})", "\"vlans\" must be a number from 1 to 4095"},
      {R"({"verb":"feature","vlan":100,"on":true,"feature":4})", "\"feature\" must be a number from 2 to 3"},
      {R"({"verb":"fault","name":"board","mode":"delay"})",
       "\"delay_ms\" must be a number from 1 to 2147483647"},
      {R"({"verb":"fault","name":"board","mode":"maybe"})",
       "\"maybe\" is not a kind of fault; give normal, refuse, silent or delay MS"},
      {R"({"verb":"trace","category":"all","print":true})",
       "\"all\" is not a trace category; give packet, control or error"},
      {R"({"verb":"wait-ready","bound_ms":-1})", "\"bound_ms\" must be a number from 0 to 60000"},
  };
  for (const auto &[request, error] : rows) {
    const json answer = control_text(request);
    EXPECT_FALSE(answer["ok"].get<bool>()) << request;
    EXPECT_EQ(answer["error"], error) << request;
    EXPECT_EQ(answer["version"], 1);
  }
  EXPECT_TRUE(nothing_waits());
}

}  // namespace
}  // namespace chassis
