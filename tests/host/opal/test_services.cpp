// The synchronous calls and the notices of the platform's services.
#include "host/bus/services.h"

#include <gtest/gtest.h>

#include "opal/board.h"
#include "opal/capreg.h"
#include "opal/chanagg.h"
#include "opal/kinb.h"
#include "opal/ltlsvc.h"
#include "opal/portsvc.h"
#include "opal/vlan_mgr.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

constexpr bus::Address service_peer_address{0, 93};
constexpr if_index_t port = 0x1a000002;
constexpr if_index_t channel = 0x16000007;

class ServicesTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    drain_queue();
  }
  qbus_msg_ref_t arrive(bus::Bytes payload) {
    bus::Socket peer = bind(service_peer_address);
    EXPECT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 1, 0, payload));
    return take_message().value_or(qbus_msg_ref_t{});
  }
};

TEST_F(ServicesTest, TheBoardIsAskedUntilItAnswersAndThenNeverAgain) {
  card_module_info_t info{};
  EXPECT_EQ(static_cast<rcode_t>(get_card_module_info(&info)), RCODE_UNAVAILABLE);
  EXPECT_EQ(get_platform_runtime_index(), 0u);
  {
    const Service board = Service::answering(bus::address::board, bus::BoardInfo{0, 83, 1, 2, 3, 4, 1});
    EXPECT_EQ(get_card_module_info(&info), 0);
  }
  EXPECT_EQ(info.swCardId, 83);
  EXPECT_EQ(info.procType, 1);
  EXPECT_EQ(info.card_type, 2);
  EXPECT_EQ(info.mod_status, 3);
  EXPECT_EQ(info.switch_hw_arch, 4);
  EXPECT_EQ(get_card_module_info(&info), 0) << "the service is gone by now";
  EXPECT_EQ(get_platform_runtime_index(), 1u);
  EXPECT_STREQ(platform_runtime_param_array[0].name, "mgmt0");
  EXPECT_STREQ(platform_runtime_param_array[1].name2, "mgmt1");
}

TEST_F(ServicesTest, AnInterfaceHasADestinationIndex) {
  uint32_t di = 99;
  {
    Service ltlsvc = Service::answering(bus::address::ltlsvc, bus::DestinationIndex{0, 2});
    EXPECT_EQ(ltlsvc_lib_ifidx_to_di(port, &di), RCODE_SUCCESS);
    EXPECT_EQ(di, 2u);
    const std::optional<bus::Message> request = ltlsvc.request();
    EXPECT_EQ(request->opcode, bus::opcode::ifindex_to_di);
    EXPECT_EQ(bus::record_of<bus::Interface>(request->payload)->if_index, port);
  }
  const Service refusing = Service::answering(bus::address::ltlsvc, bus::Result{RCODE_NOT_FOUND});
  EXPECT_EQ(ltlsvc_lib_ifidx_to_di(channel, &di), RCODE_NOT_FOUND);
  EXPECT_EQ(di, 2u) << "untouched";
}

TEST_F(ServicesTest, LtlRequestsAreMessagesOfTheQueue) {
  bus::Socket ltlsvc = bind(bus::address::ltlsvc);
  qbus_msg_ref_t reference{};
  ASSERT_EQ(ltlsvc_send_ltl_alloc(queue(), 7, 100, 0, 0, 0, &reference), 0);
  std::optional<bus::Message> request = receive(ltlsvc);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->opcode, 0x11003u);
  EXPECT_EQ(request->source, bus::address::tesk);
  EXPECT_EQ(request->token, qbus_rr_token_get(&reference));
  EXPECT_EQ(bus::record_of<bus::LtlRequest>(request->payload)->type, 7u);
  EXPECT_EQ(bus::record_of<bus::LtlRequest>(request->payload)->vlan, 100);
  qbus_drop(queue(), &reference);
  ASSERT_EQ(ltlsvc_send_ltl_dealloc(queue(), 0, 7, 100, 0, 0, &reference), 0);
  request = receive(ltlsvc);
  EXPECT_EQ(request->opcode, 0x11004u);
  qbus_drop(queue(), &reference);
}

TEST_F(ServicesTest, APortChannelHasMembers) {
  bus::PortChannelInfo told{};
  told.info.fop_ifindex = port;
  told.info.member_count = 2;
  told.info.member[1] = port + 1;
  chanagg_pc_info_t info{};
  {
    const Service chanagg = Service::answering(bus::address::chanagg, told);
    EXPECT_EQ(chanagg_get_pc_info(channel, &info), RCODE_SUCCESS);
    EXPECT_EQ(info.fop_ifindex, port);
    EXPECT_EQ(info.member[1], port + 1);
  }
  told.info.member_count = CHANAGG_MEMBERS + 1;
  const Service wrong = Service::answering(bus::address::chanagg, told);
  EXPECT_EQ(chanagg_get_pc_info(channel, &info), RCODE_CORRUPT);
  EXPECT_EQ(info.member_count, 2u);
}

TEST_F(ServicesTest, TheInBandDriverIsToldEachVlan) {
  Service kinb = Service::answering(bus::address::kinb, bus::Result{RCODE_SUCCESS});
  EXPECT_EQ(kinb_libinit(), 0);
  EXPECT_EQ(kinb_tesk_vlan_add(100), 0);
  EXPECT_EQ(kinb_tesk_vlan_del(101), 0);
  EXPECT_EQ(kinb.request()->opcode, bus::opcode::kinb_init);
  const std::optional<bus::Message> added = kinb.request();
  EXPECT_EQ(added->opcode, bus::opcode::kinb_vlan_add);
  EXPECT_EQ(bus::record_of<bus::Vlan>(added->payload)->vlan, 100);
  const std::optional<bus::Message> deleted = kinb.request();
  EXPECT_EQ(deleted->opcode, bus::opcode::kinb_vlan_del);
  EXPECT_EQ(bus::record_of<bus::Vlan>(deleted->payload)->vlan, 101);
}

TEST_F(ServicesTest, ASlowServiceIsACodeWithinTheBound) {
  const Service silent = Service::silent(bus::address::kinb);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(static_cast<rcode_t>(kinb_tesk_vlan_add(100)), RCODE_TIMED_OUT);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(bus::call_timeout_ms));
  EXPECT_LT(waited, std::chrono::milliseconds(4 * bus::call_timeout_ms));
}

TEST_F(ServicesTest, AFeaturesStateIsAnnounced) {
  Service capreg = Service::answering(bus::address::capreg, bus::Result{RCODE_SUCCESS});
  EXPECT_EQ(capreg_notify_feature_status(queue(), "tesk", 1, 0), 0);
  const auto status = bus::record_of<bus::FeatureStatus>(capreg.request()->payload);
  EXPECT_EQ(bus::text_of(status->feature), "tesk");
  EXPECT_EQ(status->enabled, 1u);
  EXPECT_EQ(static_cast<rcode_t>(capreg_notify_feature_status(queue(), std::string(32, 'x').c_str(), 1, 0)),
            RCODE_INVALID);
}

TEST_F(ServicesTest, RegistersWithTheInterfaceManager) {
  Service portsvc = Service::answering(bus::address::portsvc, bus::Result{RCODE_SUCCESS});
  EXPECT_EQ(portsvc_ext_sbcr_init(0, 0, "Tesk"), 0);
  EXPECT_EQ(bus::text_of(bus::record_of<bus::Name>(portsvc.request()->payload)->text), "Tesk");
  EXPECT_EQ(static_cast<rcode_t>(portsvc_ext_sbcr_init(1, 0, "Tesk")), RCODE_INVALID);
}

TEST_F(ServicesTest, AnInterfaceIsPresentOrNot) {
  portsvc_if_info_t info{99, 99};
  EXPECT_EQ(portsvc_is_ifindex_present(port, &info), 0) << "nobody to ask";
  {
    const Service portsvc =
        Service::answering(bus::address::portsvc, bus::InterfacePresent{0, 0, 3, PORTSVC_LINK_UP});
    EXPECT_EQ(portsvc_is_ifindex_present(port, &info), 0);
  }
  EXPECT_EQ(info.iod, 99u);
  const Service portsvc =
      Service::answering(bus::address::portsvc, bus::InterfacePresent{0, 1, 3, PORTSVC_LINK_UP});
  EXPECT_EQ(portsvc_is_ifindex_present(port, &info), 1);
  EXPECT_EQ(info.iod, 3u);
  EXPECT_EQ(info.link_state, PORTSVC_LINK_UP);
}

TEST_F(ServicesTest, AStateNoticeIsCopiedAndEveryTruncationRefused) {
  portsvc_l2_port_state_t state{};
  state.ifindex = port;
  state.link_state = PORTSVC_LINK_UP;
  const bus::Payload payload = bus::encode_l2_state_change(std::span(&state, 1));
  for (std::size_t cut = 0; cut < payload.size(); cut += cut < 16 ? 1 : 97) {
    qbus_msg_ref_t message = arrive(bus::Bytes(payload).first(cut));
    uint32_t size = 99;
    portsvc_l2_state_change_t *change = nullptr;
    EXPECT_EQ(portsvc_parse_l2_protocol_state_change(&message, &size, &change),
              cut == 0 ? rcode_t{RCODE_SUCCESS} : rcode_t{RCODE_CORRUPT});
    EXPECT_EQ(change, nullptr);
    EXPECT_EQ(size, 0u);
    qbus_drop(queue(), &message);
  }
  qbus_msg_ref_t message = arrive(payload);
  uint32_t size = 0;
  portsvc_l2_state_change_t *change = nullptr;
  ASSERT_EQ(portsvc_parse_l2_protocol_state_change(&message, &size, &change), RCODE_SUCCESS);
  qbus_drop(queue(), &message);
  EXPECT_EQ(size, payload.size());
  EXPECT_EQ(change->num, 1u);
  EXPECT_EQ(change->port[0].ifindex, port);
  free(change);
}

TEST_F(ServicesTest, ADeletionNoticeIsParsedAndEveryTruncationRefused) {
  const vlan_delete_notif_local_t deleted[] = {{1, 100, 7}, {2, 200, 8}};
  const bus::Payload payload = bus::encode_vlans_deleted(deleted);
  vlan_delete_notif_local_t *records = nullptr;
  uint32_t count = 99;
  for (std::size_t cut = 0; cut < payload.size(); ++cut) {
    qbus_msg_ref_t message = arrive(bus::Bytes(payload).first(cut));
    EXPECT_NE(vlan_mgr_parse_notification_msg_local(&message, &records, &count), RCODE_SUCCESS);
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(count, 0u);
    qbus_drop(queue(), &message);
  }
  qbus_msg_ref_t message = arrive(payload);
  ASSERT_EQ(vlan_mgr_parse_notification_msg_local(&message, &records, &count), RCODE_SUCCESS);
  qbus_drop(queue(), &message);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(records[1].vlan_id, 200);
  free(records);
}

TEST_F(ServicesTest, FeaturePayloadsListTheVlans) {
  const vlan_id_t vlans[] = {100, 200};
  void *payload = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(vlan_feat_create_build_qbus_local(2, vlans, VLAN_FEAT_CIN, &payload, &length), 0);
  const auto feature = bus::decode_feature_vlans({static_cast<std::byte *>(payload), length});
  ASSERT_TRUE(feature);
  EXPECT_EQ(feature->feature, 4u);
  EXPECT_EQ(feature->vlans, (std::vector<std::int32_t>{100, 200}));
  free(payload);
  EXPECT_EQ(vlan_feat_delete_build_qbus_local(0, nullptr, VLAN_FEAT_CIN, &payload, &length), 0);
  EXPECT_EQ(length, 8u);
  free(payload);
  EXPECT_EQ(vlan_feat_create_build_qbus_local(100'000, vlans, VLAN_FEAT_CIN, &payload, &length), EMSGSIZE);
  EXPECT_EQ(payload, nullptr);
}

TEST_F(ServicesTest, AVlanMayTakeAFeatureOnlyWhenTheManagerSaysSo) {
  vlan_feat_map_t features{64, {}};
  bitset_set_bit(&features, VLAN_FEAT_STORAGE);
  EXPECT_EQ(vlan_mgr_check_feat(1, 100, &features), 0) << "nobody to ask";
  {
    const Service refusing = Service::answering(bus::address::vlan_mgr, bus::Result{RCODE_REFUSED});
    EXPECT_EQ(vlan_mgr_check_feat(1, 100, &features), 0);
  }
  Service manager = Service::answering(bus::address::vlan_mgr, bus::Result{RCODE_SUCCESS});
  EXPECT_NE(vlan_mgr_check_feat(1, 100, &features), 0);
  const auto asked = bus::record_of<bus::CheckFeature>(manager.request()->payload);
  EXPECT_EQ(asked->vdc, 1u);
  EXPECT_EQ(asked->vlan, 100);
  EXPECT_EQ(asked->features.bits[0], 1 << VLAN_FEAT_STORAGE);
}

}  // namespace
}  // namespace opal::test
