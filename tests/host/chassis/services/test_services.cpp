#include <gtest/gtest.h>

#include <algorithm>

#include "opal/rcgen.h"
#include "tests/host/chassis/run/bench.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

std::string up_vlans(const portsvc_l2_port_state_t &state) {
  return to_ranges(from_record(state.vlan_up_bmp));
}
std::string down_vlans(const portsvc_l2_port_state_t &state) {
  return to_ranges(from_record(state.vlan_down_bmp));
}

vlan_feat_map_t feature_map(std::initializer_list<unsigned> features) {
  vlan_feat_map_t map{};
  map.size = 64;
  for (const unsigned feature : features)
    map.bits[feature / 8] = static_cast<std::uint8_t>(map.bits[feature / 8] | 1U << feature % 8);
  return map;
}

TEST_F(Bench, TellsANewSubscriberThePortsThatAreUpAndOnlyOnce) {
  start();
  subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
  const auto states = next_states();
  ASSERT_EQ(states.size(), 3U);
  EXPECT_EQ(states[0].ifindex, ethernet | 0U);
  EXPECT_EQ(states[0].link_state, PORTSVC_LINK_UP);
  EXPECT_EQ(up_vlans(states[0]), "100,200,4095");
  EXPECT_EQ(down_vlans(states[0]), "");
  EXPECT_EQ(states[2].ifindex, ethernet | 2U);
  subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
  EXPECT_TRUE(nothing_waits());
}

TEST_F(Bench, StateNoticeOfOnePortHasTheseBytes) {
  Description description = four_ports();
  description.ports.resize(1);
  description.ports[0].vlans = {VlanId{9}};
  start(description);
  subscribe(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE);
  const auto message = next_message();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, bus::Kind::notice);
  std::vector<unsigned char> expected(4 + 1072, 0);
  const unsigned char head[] = {1,   0, 0, 0,         // one record
                                0,   0, 0, 26,        // ethernet 1/1
                                1,   0, 0, 0,         // ordinal
                                1,   1, 2, 2,         // up, VLANs valid, trunk, full duplex
                                0,   0, 0, 0,  0, 0,  // no MAC address
                                220, 5,               // MTU 1500
                                0,   0, 0, 0,         // reason
                                232, 3, 0, 0,         // 1000 Mbit/s
                                1,   0, 0, 0};        // one active port
  std::copy(std::begin(head), std::end(head), expected.begin());
  expected[4 + 41] = 2;           // size of the up set: 512
  expected[4 + 44 + 1] = 1 << 1;  // VLAN 9
  expected[4 + 557] = 2;          // size of the down set
  ASSERT_EQ(message->payload.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(std::to_integer<int>(message->payload[i]), expected[i]) << "byte " << i;
  }
}

TEST_F(Bench, CblNoticeOfOnePortHasTheseBytes) {
  Description description = four_ports();
  description.ports.resize(1);
  description.ports[0].vlans = {VlanId{9}};
  start(description);
  subscribe(QBUS_OPC_LTLSVC_CBL_CHANGE);
  const auto message = next_message();
  ASSERT_TRUE(message);
  std::vector<unsigned char> expected(2 + 520, 0);
  expected[0] = 1;        // one entry, unpadded
  expected[5] = 26;       // ethernet 1/1
  expected[7] = 2;        // size of the set: 512
  expected[11] = 1 << 1;  // VLAN 9
  ASSERT_EQ(message->payload.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(std::to_integer<int>(message->payload[i]), expected[i]) << "byte " << i;
  }
}

TEST_F(Bench, LineCardIsToldToASubscriberWhenItIsOnline) {
  start();
  subscribe(QBUS_OPC_LC_ONLINE);
  const auto message = next_message();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->opcode, static_cast<std::uint32_t>(QBUS_OPC_LC_ONLINE));
}

TEST_F(Bench, AnOfflineLineCardIsNotToldUntilItComesOnline) {
  start();
  EXPECT_TRUE(control({{"verb", "line-card"}, {"online", false}})["ok"]);
  subscribe(QBUS_OPC_LC_ONLINE);
  EXPECT_TRUE(nothing_waits());
  EXPECT_TRUE(control({{"verb", "line-card"}, {"online", true}})["ok"]);
  EXPECT_TRUE(next_message());
}

TEST_F(Bench, BoardTellsItsIdentity) {
  start(four_ports(Board::b83));
  const auto response = ask(bus::address::board, bus::opcode::board_info, {});
  ASSERT_TRUE(response);
  const auto info = bus::record_of<bus::BoardInfo>(response->payload);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->rcode, 0U);
  EXPECT_EQ(info->card_id, 83);
  EXPECT_EQ(info->runtime_row, 1);
}

TEST_F(Bench, PortsOfTheBoardArePresentAndOthersAreNot) {
  start();
  const auto up = ask_record<bus::InterfacePresent>(bus::address::portsvc, bus::opcode::portsvc_present,
                                                    bus::Interface{ethernet});
  EXPECT_EQ(up.present, 1U);
  EXPECT_EQ(up.link_state, static_cast<std::uint32_t>(PORTSVC_LINK_UP));
  const auto down = ask_record<bus::InterfacePresent>(bus::address::portsvc, bus::opcode::portsvc_present,
                                                      bus::Interface{ethernet | 3U});
  EXPECT_EQ(down.link_state, static_cast<std::uint32_t>(PORTSVC_LINK_DOWN));
  const auto none = ask_record<bus::InterfacePresent>(bus::address::portsvc, bus::opcode::portsvc_present,
                                                      bus::Interface{ethernet | 20U});
  EXPECT_EQ(none.rcode, 0U);
  EXPECT_EQ(none.present, 0U);
}

TEST_F(Bench, DestinationIndexIsTheAsicPort) {
  start(four_ports(Board::b83));
  const auto port = ask_record<bus::DestinationIndex>(bus::address::ltlsvc, bus::opcode::ifindex_to_di,
                                                      bus::Interface{ethernet | 4U});
  EXPECT_EQ(port.rcode, 0U);
  EXPECT_EQ(port.di, 7U);
  const auto none = ask_record<bus::DestinationIndex>(bus::address::ltlsvc, bus::opcode::ifindex_to_di,
                                                      bus::Interface{22U << 24 | 7U});
  EXPECT_EQ(none.rcode, static_cast<std::uint32_t>(RCODE_NOT_FOUND));
}

TEST_F(Bench, LtlIsAllocatedAndReleasedByVlan) {
  start();
  const bus::LtlRequest request{7, 100, 0, {}};
  EXPECT_EQ(ask_record<bus::LtlAnswer>(bus::address::ltlsvc, QBUS_OPC_LTLSVC_ALLOC_LTL, request).rcode, 0U);
  EXPECT_TRUE(fabric_.ltl_allocated()[100]);
  EXPECT_EQ(ask_record<bus::LtlAnswer>(bus::address::ltlsvc, QBUS_OPC_LTLSVC_DEALLOC_LTL, request).rcode, 0U);
  EXPECT_FALSE(fabric_.ltl_allocated()[100]);
  EXPECT_EQ(ask_record<bus::LtlAnswer>(bus::address::ltlsvc, QBUS_OPC_LTLSVC_DEALLOC_LTL, request).rcode,
            static_cast<std::uint32_t>(RCODE_NOT_FOUND));
  const bus::LtlRequest wrong{7, 4096, 0, {}};
  EXPECT_EQ(ask_record<bus::LtlAnswer>(bus::address::ltlsvc, QBUS_OPC_LTLSVC_ALLOC_LTL, wrong).rcode,
            static_cast<std::uint32_t>(RCODE_INVALID));
}

TEST_F(Bench, ClassificationReachesTheAsic) {
  start();
  EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_add, bus::Vlan{100}), 0U);
  EXPECT_TRUE(fabric_.classified()[100]);
  EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_del, bus::Vlan{100}), 0U);
  EXPECT_FALSE(fabric_.classified()[100]);
  for (const int wrong : {0, -1, 4096}) {
    EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_add, bus::Vlan{wrong}),
              static_cast<std::uint32_t>(RCODE_INVALID));
  }
}

TEST_F(Bench, AVlanWithAnExcludingFeatureIsRefused) {
  start();
  const auto check = [this](int vlan) {
    return ask_result(bus::address::vlan_mgr, bus::opcode::check_feature,
                      bus::CheckFeature{1, vlan, feature_map({2, 3})});
  };
  EXPECT_EQ(check(100), 0U);
  EXPECT_EQ(check(300), static_cast<std::uint32_t>(RCODE_REFUSED));
  EXPECT_EQ(check(5000), static_cast<std::uint32_t>(RCODE_INVALID));
  EXPECT_TRUE(control({{"verb", "feature"}, {"vlan", 100}, {"on", true}, {"feature", 3}})["ok"]);
  EXPECT_EQ(check(100), static_cast<std::uint32_t>(RCODE_REFUSED));
  EXPECT_TRUE(control({{"verb", "feature"}, {"vlan", 100}, {"on", false}, {"feature", 3}})["ok"]);
  EXPECT_EQ(check(100), 0U);
}

TEST_F(Bench, FeaturesAreSetAndUnsetByMessage) {
  start();
  const auto create = bus::encode_feature_vlans({4, {10, 20}});
  const auto answer_to = [this](std::uint32_t opcode, std::span<const std::byte> payload) {
    const auto response = ask(bus::address::vlan_mgr, opcode, payload);
    return response ? bus::record_of<bus::Result>(response->payload).value_or(bus::Result{99}).rcode : 98;
  };
  EXPECT_EQ(answer_to(QBUS_OPC_VLAN_FEAT_CREATE, create), 0U);
  EXPECT_EQ(control_plane_->status()["vlans"][0]["vlan"], 10);
  EXPECT_EQ(control_plane_->status()["vlans"][0]["features"][0], 4);
  EXPECT_EQ(answer_to(QBUS_OPC_VLAN_FEAT_DELETE, create), 0U);
  EXPECT_EQ(answer_to(QBUS_OPC_VLAN_FEAT_CREATE, std::span(create).first(create.size() - 1)),
            static_cast<std::uint32_t>(RCODE_INVALID));
  EXPECT_EQ(answer_to(QBUS_OPC_VLAN_FEAT_CREATE, bus::encode_feature_vlans({4, {4096}})),
            static_cast<std::uint32_t>(RCODE_INVALID));
}

TEST_F(Bench, DeletedVlansAreToldToSubscribers) {
  start();
  subscribe(QBUS_OPC_VLAN_MGR_VLANS_DELETED);
  EXPECT_TRUE(control({{"verb", "vlan-delete"}, {"vlans", {100, 200}}})["ok"]);
  const auto message = next_message();
  ASSERT_TRUE(message);
  const auto records = bus::decode_vlans_deleted(message->payload);
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 2U);
  EXPECT_EQ(static_cast<int>((*records)[1].vlan_id), 200);
}

TEST_F(Bench, APayloadOfTheWrongSizeIsRefusedAndCounted) {
  start();
  const struct {
    bus::Address service;
    std::uint32_t opcode;
    const char *name;
  } rows[] = {{bus::address::broker, bus::opcode::subscribe, "broker"},
              {bus::address::overseer, bus::opcode::handshake, "overseer"},
              {bus::address::board, bus::opcode::board_info, "board"},
              {bus::address::portsvc, bus::opcode::portsvc_present, "portsvc"},
              {bus::address::ltlsvc, bus::opcode::ifindex_to_di, "ltlsvc"},
              {bus::address::chanagg, bus::opcode::port_channel_info, "chanagg"},
              {bus::address::kinb, bus::opcode::kinb_vlan_add, "kinb"},
              {bus::address::capreg, bus::opcode::feature_status, "capreg"},
              {bus::address::vlan_mgr, bus::opcode::check_feature, "vlan_mgr"},
              {bus::address::cush, bus::opcode::register_parse_tree, "cush"},
              {bus::address::rcgen, bus::opcode::show_config, "rcgen"}};
  const std::vector<std::byte> three_bytes(3);
  for (const auto &row : rows) {
    for (const std::uint32_t opcode : {row.opcode, 0x3FFFFU}) {
      const auto response = ask(row.service, opcode, three_bytes);
      ASSERT_TRUE(response) << row.name;
      EXPECT_EQ(bus::record_of<bus::Result>(response->payload).value_or(bus::Result{0}).rcode,
                static_cast<std::uint32_t>(RCODE_INVALID))
          << row.name;
    }
    const nlohmann::json services = control_plane_->status()["services"];
    const auto counted = std::find_if(services.begin(), services.end(),
                                      [&](const auto &entry) { return entry["service"] == row.name; });
    ASSERT_NE(counted, services.end()) << row.name;
    EXPECT_EQ((*counted)["malformed"], 1) << row.name;
    EXPECT_EQ((*counted)["unknown_opcode"], 1) << row.name;
  }
}

TEST_F(Bench, ParseTreesAreListedWithTheirServer) {
  start();
  bus::Registration registration{bus::address::tesk, {}};
  EXPECT_EQ(ask_result(bus::address::cush, bus::opcode::register_parse_tree, registration),
            static_cast<std::uint32_t>(RCODE_INVALID));
  bus::set_text(registration.name, "tesk");
  EXPECT_EQ(ask_result(bus::address::cush, bus::opcode::register_parse_tree, registration), 0U);
  EXPECT_EQ(ask_result(bus::address::cush, bus::opcode::backend_init, registration), 0U);
  const auto response = ask(bus::address::cush, bus::opcode::list_parse_trees, {});
  ASSERT_TRUE(response);
  const auto trees = bus::decode_parse_trees(response->payload);
  ASSERT_TRUE(trees);
  ASSERT_EQ(trees->size(), 1U);
  EXPECT_EQ(bus::text_of((*trees)[0].name), "tesk");
  EXPECT_EQ((*trees)[0].server, bus::address::tesk);
  EXPECT_EQ((*trees)[0].backend_ready, 1U);
}

class Configuration : public Bench {
 protected:
  /// Requests the configuration; `reply` plays the program.
  bus::ConfigText show(const std::function<void(const bus::Message &, const bus::Generate &)> &reply,
                       std::string &text, VlanSet vlans = {}) {
    const bus::ShowConfig request{RCGEN_CFG_RUNNING, 1, to_record(vlans)};
    EXPECT_TRUE(caller_->send(bus::address::rcgen, bus::Kind::request, bus::opcode::show_config, 7,
                              bus::bytes_of(request)));
    if (reply) {
      const auto message = next_message();
      EXPECT_TRUE(message && message->opcode == bus::opcode::rcgen_generate);
      if (message) reply(*message, bus::record_of<bus::Generate>(message->payload).value());
    }
    std::optional<bus::Message> response;
    run_until(loop_, [&] {
      if (auto received = caller_->receive()) response = std::move(*received);
      return response.has_value();
    });
    const auto view = response ? bus::decode_config_text(response->payload) : std::nullopt;
    EXPECT_TRUE(view);
    if (!view) return {};
    text = view->text;
    return {view->rcode, static_cast<std::uint32_t>(view->text.size())};
  }
  void register_program() {
    EXPECT_EQ(ask_result(bus::address::rcgen, bus::opcode::rcgen_register,
                         bus::Registration{bus::address::tesk, {}}),
              0U);
  }
};

TEST_F(Configuration, LinesStandIndentedUnderAscendingVlans) {
  start();
  register_program();
  std::string text;
  const auto head = show(
      [this](const bus::Message &message, const bus::Generate &request) {
        const VlanSet asked = from_record(request.vlans);
        EXPECT_EQ(to_ranges(asked), "1-4094");
        EXPECT_EQ(bus::text_of(request.startup_uri_prefix),
                  "file://" + folder_.path().string() + "/stores/startup/");
        answer(message, bus::encode_generated(
                            {bus::Generated{}, {{200, 1, "cin\n"}, {10, 1, "cin\n"}, {10, 2, "deeper"}}}));
      },
      text);
  EXPECT_EQ(head.rcode, 0U);
  EXPECT_EQ(text, "vlan 10\n  cin\n    deeper\nvlan 200\n  cin\n");
}

TEST_F(Configuration, NamedVlansAreAskedForAlone) {
  start();
  register_program();
  std::string text;
  VlanSet vlans;
  vlans.set(10);
  show(
      [this](const bus::Message &message, const bus::Generate &request) {
        EXPECT_EQ(to_ranges(from_record(request.vlans)), "10");
        answer(message, bus::encode_generated({}));
      },
      text, vlans);
  EXPECT_EQ(text, "");
}

TEST_F(Configuration, AFailingProgramsTextIsTheAnswer) {
  start();
  register_program();
  std::string text;
  const auto head = show(
      [this](const bus::Message &message, const bus::Generate &) {
        bus::Generated failed{};
        failed.rcode = RCODE_NOT_FOUND;
        bus::set_text(failed.text, "Failed to read");
        answer(message, bus::encode_generated({failed, {}}));
      },
      text);
  EXPECT_EQ(head.rcode, static_cast<std::uint32_t>(RCODE_NOT_FOUND));
  EXPECT_EQ(text, "Failed to read");
}

TEST_F(Configuration, ASilentProgramIsGivenUpAfterTheBound) {
  start();
  register_program();
  std::string text;
  EXPECT_EQ(show([](const bus::Message &, const bus::Generate &) {}, text).rcode,
            static_cast<std::uint32_t>(RCODE_TIMED_OUT));
}

TEST_F(Configuration, WithoutAProgramThereIsNone) {
  start();
  std::string text;
  EXPECT_EQ(show({}, text).rcode, static_cast<std::uint32_t>(RCODE_UNAVAILABLE));
}

TEST_F(Bench, ARefusingServiceRefusesAndASilentOneDoesNotAnswer) {
  Description description = four_ports();
  description.faults = {"kinb-add=refuse", "chanagg=silent"};
  start(description);
  EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_add, bus::Vlan{100}),
            static_cast<std::uint32_t>(RCODE_REFUSED));
  EXPECT_FALSE(fabric_.classified()[100]);
  EXPECT_FALSE(ask(bus::address::chanagg, bus::opcode::port_channel_info, bus::bytes_of(bus::Interface{1}),
                   std::chrono::milliseconds(200)));
  EXPECT_TRUE(control({{"verb", "fault"}, {"name", "kinb-add"}, {"mode", "normal"}})["ok"]);
  EXPECT_EQ(ask_result(bus::address::kinb, bus::opcode::kinb_vlan_add, bus::Vlan{100}), 0U);
}

TEST_F(Bench, ADelayedAnswerComesLate) {
  start();
  EXPECT_TRUE(
      control({{"verb", "fault"}, {"name", "ltl-answer"}, {"mode", "delay"}, {"delay_ms", 150}})["ok"]);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(ask_record<bus::LtlAnswer>(bus::address::ltlsvc, QBUS_OPC_LTLSVC_ALLOC_LTL,
                                       bus::LtlRequest{7, 100, 0, {}})
                .rcode,
            0U);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(150));
}

TEST_F(Bench, AFaultThatDoesNotExistStopsTheStart) {
  Description description = four_ports();
  description.faults = {"nonsense=refuse"};
  ControlPlane platform(loop_, description, fabric_, klm_, {folder_.path(), "/bin/true"}, {});
  EXPECT_NE(host::test::sentence_of(platform.start()).find("there is no service \"nonsense\""),
            std::string::npos);
}

}  // namespace
}  // namespace chassis
