/* Messages of the VLAN tables: deletion notices, answers of the port-index service, feature messages. */
#include <cstring>

#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

const char *const deleted_handler = "tesk_vlan_vlan_mgr_deleted_handler";

/** The VLAN manager reports VLANs deleted. */
void deleted(const std::vector<int32_t> &vlans) {
  qbus_msg_ref_t message = hold({.opcode = QBUS_OPC_VLAN_MGR_VLANS_DELETED, .payload = deleted_vlans(vlans)});
  tesk_vlan_vlan_mgr_deleted_handler(&message);
}

Line not_configured(int32_t vlan) {
  return error_of(deleted_handler,
                  ":VLAN " + std::to_string(vlan) + " had not been configured as CIN VLAN\n");
}

Lines unset_sent(const std::string &vlans) {
  return lines(feature_unset(vlans, 1001),
               control(deleted_handler, "tesk_send_unset_feat_in_vlan succeeded.\n"));
}

/** VLANs 10 and 20 are configured; the announcement at start had token 1000. */
class DeletionNotice : public TablesTest {
 protected:
  DeletionNotice() : TablesTest({10, 20}) {}
};

TEST_F(DeletionNotice, RemovesACinVlanAndPassesOverAnUnknownOne) {
  deleted({77, 10});
  expect(lines(not_configured(77), removed(10), unset_sent("10")));
  EXPECT_EQ(vlan_entry(10), nullptr);
  EXPECT_NE(vlan_entry(20), nullptr);
  EXPECT_EQ(cin_vlan_count, 1);
  EXPECT_FALSE(tesk_port_has_vlan(&amm_mgmt_port, 10));
}

TEST_F(DeletionNotice, TellsTheVlanManagerOnceForAllVlans) {
  deleted({20, 10});
  expect(lines(removed(20), removed(10), unset_sent("20 10")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(DeletionNotice, DoesNotDeactivateAVlanWithMembers) {
  const tesk_port_t *port = port_is_up(ethernet(3), {10});
  deleted({10});
  expect_apart_from_control(
      {"kvs_fetch(1, " + shown_key(10) + ")", "kvs_delete(1, " + shown_key(10) + ")",
       "ioctl(31, del_vlan, 10)",
       "fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2e, 'unset feature 4 in 10', 0, 0)",
       "qbus_drop(30, request 1002)"});
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10}");
}

TEST_F(DeletionNotice, DoesNotExemptTheSolVlan) {
  store_cin_vlans(running_store, {4095});
  deleted({4095});
  expect(lines(removed(4095), unset_sent("4095")));
  EXPECT_EQ(vlan_entry(4095), nullptr);
  EXPECT_FALSE(tesk_port_has_vlan(&amm_mgmt_port, 4095));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(DeletionNotice, OfAVlanTwiceRemovesItOnce) {
  deleted({10, 10});
  expect(lines(removed(10), not_configured(10), unset_sent("10")));
}

TEST_F(DeletionNotice, GoesOnWithTheNextVlanWhenTheStoreFails) {
  when("kvs_delete").once().returns(RCODE_IO);
  deleted({10, 20});
  expect(lines(
      control_of("tesk_port_vlan_delete", ":\n"), port_marked(), "kvs_fetch(1, " + shown_key(10) + ")",
      control_of("tesk_kvs_get_cin_vlan_config", ": VLAN (10) configuration exists in KVS\n"),
      "kvs_delete(1, " + shown_key(10) + ")",
      error_of("tesk_kvs_del_cin_vlan_config", ": Failed to delete CIN VLAN (10) configuration from KVS\n"),
      error_of(deleted_handler, ":Failed to delete VLAN 10 from KVS\n"), removed(20), unset_sent("20")));
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_EQ(cin_vlan_count, 1);
  EXPECT_FALSE(tesk_port_has_vlan(&amm_mgmt_port, 10));
}

TEST_F(DeletionNotice, PassesOverAVlanThatPortsOrTableKeep) {
  when("tesk_port_vlan_delete").call(1).returns(5);
  deleted({10});
  expect({error_of(deleted_handler, ": Failed to delete VLAN 10 from Port Contexts\n")});
  EXPECT_TRUE(tesk_port_has_vlan(&amm_mgmt_port, 10));
  when("tesk_vlan_hash_delete").returns(0);
  deleted({10});
  expect(lines(control_of("tesk_port_vlan_delete", ":\n"), port_marked(), unstored(10),
               error_of(deleted_handler, ": Failed to delete VLAN 10 from Hash Table\n")));
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_FALSE(tesk_port_has_vlan(&amm_mgmt_port, 10));
  EXPECT_EQ(cin_vlan_count, 2);
}

TEST_F(DeletionNotice, GoesOnWithTheNextVlanWhenPortsOrTableKeepOne) {
  when("tesk_port_vlan_delete").once().returns(5);
  when("tesk_vlan_hash_delete").once().returns(0);
  deleted({10, 20, 20, 10});
  expect(lines(error_of(deleted_handler, ": Failed to delete VLAN 10 from Port Contexts\n"),
               control_of("tesk_port_vlan_delete", ":\n"), port_marked(), unstored(20),
               error_of(deleted_handler, ": Failed to delete VLAN 20 from Hash Table\n"),
               control_of("tesk_port_vlan_delete", ":\n"), port_marked(), looked_up(20, "does not exist"),
               error_of("tesk_kvs_del_cin_vlan_config", ": VLAN (20) configuration does not exist in KVS\n"),
               error_of(deleted_handler, ":Failed to delete VLAN 20 from KVS\n"), removed(10),
               unset_sent("10")));
  EXPECT_EQ(cin_vlan_count, 1) << "only what was removed in full is counted";
}

TEST_F(DeletionNotice, ComplainsOfACountAboveTheLimitForEachVlan) {
  cin_vlan_count = 16;
  deleted({10, 20});
  expect(lines(error(deleted_handler, "Invalid CIN VLAN count:16\n"), removed(10),
               error(deleted_handler, "Invalid CIN VLAN count:15\n"), removed(20), unset_sent("10 20")));
  EXPECT_EQ(cin_vlan_count, 14);
}

TEST_F(DeletionNotice, ComplainsOfACountOutOfRangeAndCorrectsIt) {
  cin_vlan_count = 0;
  deleted({10});
  expect(lines(error(deleted_handler, "Invalid CIN VLAN count:0\n"), removed(10),
               error(deleted_handler, "Correcting CIN VLAN count (-1)\n"), unset_sent("10")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(DeletionNotice, GoesOnWhenTheVlanManagerCannotBeTold) {
  when("vlan_feat_delete_build_qbus_local").returns(12).gives(-1);
  deleted({10});
  expect(lines(removed(10), control("tesk_send_unset_feat_in_vlan", "Null qbus pld from vlan manager\n"),
               error(deleted_handler, "tesk_send_unset_feat_in_vlan failed for 1 vlans.\n")));
}

TEST_F(DeletionNotice, ThatDoesNotParseIsAbandoned) {
  when("vlan_mgr_parse_notification_msg_local").returns(RCODE_INVALID);
  deleted({10});
  expect({error_of(deleted_handler, ": Failed to retrieve message payload\n")});
  EXPECT_NE(vlan_entry(10), nullptr);
}

TEST_F(DeletionNotice, OfNoVlansIsNothing) {
  deleted({});
  expect({});
}

TEST_F(DeletionNotice, OfNumbersThatAreNoVlanTouchesNothing) {
  const std::pair<int32_t, int32_t> numbers[] = {{-1, 65535},  {0, 0},         {4096, 4096},      {65547, 11},
                                                 {-65525, 11}, {INT32_MIN, 0}, {INT32_MAX, 65535}};
  for (const auto &[announced, used] : numbers) {
    deleted({announced});
    expect({not_configured(used)});
  }
  EXPECT_NE(vlan_entry(10), nullptr);
}

TEST_F(DeletionNotice, UsesTheLowSixteenBitsOfItsNumbers) {
  deleted({65546, -65516});
  expect(lines(removed(10), removed(20), unset_sent("10 20")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(DeletionNotice, OfMoreVlansThanThereAreIsServedToItsEnd) {
  std::vector<int32_t> all(6000, 77);
  all.back() = 10;
  deleted(all);
  EXPECT_EQ(count_of(not_configured(77)), 5999u);
  EXPECT_EQ(vlan_entry(10), nullptr);
  ignore_rest();
}

/** VLAN 10 waits for the answer to its allocation, token 1001. */
class LtlAnswer : public TablesTest {
 protected:
  LtlAnswer() : TablesTest({10}) {
    EXPECT_EQ(tesk_vlan_activate(10), 0);
    forget();
  }

  static qbus_msg_ref_t answer(uint32_t token) { return hold({.is_response = true, .token = token}); }

  static Line text(const std::string &after) {
    return control_of("tesk_vlan_process_ltlsvc_ltl_resp", after);
  }
};

TEST_F(LtlAnswer, ClosesTheRequestThatItBelongsTo) {
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  expect({text(": Alloc Response\n"), text(":Received Alloc response for VLAN 10 rr_token(0x3e9)\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 0xffffffffu);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(LtlAnswer, LeavesTheVlansPortsAsTheyAre) {
  tesk_vlan_hash_set_ltl(10, 0x18);
  tesk_vlan_hash_set_cbl(10, 0x8);
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  EXPECT_EQ(vlan_entry(10)->ltl, 0x18u);
  EXPECT_EQ(vlan_entry(10)->cbl, 0x8u);
  ignore_rest();
}

TEST_F(LtlAnswer, OfAReleaseSaysSo) {
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_ltlsvc_dealloc_ltl_resp(&message);
  expect({text(": Dealloc Response\n"), text(":Received Dealloc response for VLAN 10 rr_token(0x3e9)\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 0xffffffffu);
}

TEST_F(LtlAnswer, ComingTwiceFindsNothingTheSecondTime) {
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  forget();
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  expect({text(": Alloc Response\n"),
          error_of("tesk_vlan_process_ltlsvc_ltl_resp", ": No token found for the response (0x3e9)\n")});
}

TEST_F(LtlAnswer, WithAnUnknownTokenChangesNothing) {
  qbus_msg_ref_t message = answer(7);
  tesk_vlan_ltlsvc_dealloc_ltl_resp(&message);
  expect({text(": Dealloc Response\n"),
          error_of("tesk_vlan_process_ltlsvc_ltl_resp", ": No token found for the response (0x7)\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
}

TEST_F(LtlAnswer, ClosesTheFirstInTableOrderOfTwoRequestsWithItsToken) {
  for (const uint16_t vlan : std::initializer_list<uint16_t>{5, 37, 64}) tesk_vlan_hash_insert(vlan);
  for (const uint16_t vlan : std::initializer_list<uint16_t>{5, 37}) tesk_vlan_hash_set_req_ref(vlan, 1001);
  forget();
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  expect({text(": Alloc Response\n"), text(":Received Alloc response for VLAN 37 rr_token(0x3e9)\n")});
  EXPECT_EQ(vlan_entry(37)->rr_token, 0xffffffffu);
  EXPECT_EQ(vlan_entry(5)->rr_token, 1001u);
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  expect({text(": Alloc Response\n"), text(":Received Alloc response for VLAN 5 rr_token(0x3e9)\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
}

TEST_F(LtlAnswer, ThatIsNoResponseIsIgnored) {
  qbus_msg_ref_t message = hold({.is_response = false, .token = 1001});
  tesk_vlan_ltlsvc_alloc_ltl_resp(&message);
  expect({error_of("tesk_vlan_process_ltlsvc_ltl_resp", ": Not a response, ignoring it\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
}

/** Setting or unsetting the feature: the fields are all that differs. */
struct Feature {
  int (*send)(const vlan_id_t *vlans, uint32_t no_vlans);
  const char *function;
  const char *builder;
  const char *opcode;
  const char *name;
  const char *word;
};

void PrintTo(const Feature &feature, std::ostream *stream) { *stream << feature.word; }

class FeatureMessage : public TablesTest, public testing::WithParamInterface<Feature> {
 protected:
  static int send() { return GetParam().send(vlans, 2); }

  static Line trace(const std::string &text) { return control(GetParam().function, text); }

  static Line sent_line() {
    return Line(std::string("fu_qbus_send(30, {node 0xfe000000, sap 167}, ") + GetParam().opcode + ", '" +
                GetParam().word + " feature 4 in 10 20', 0, 0)");
  }

  static Line building_error(int result) {
    return trace(std::string("Error building qbus to ") + GetParam().word + "  feature for 2 vlans. rc = " +
                 std::to_string(result) + " [" + std::strerror(result) + "]\n");
  }

  static constexpr vlan_id_t vlans[] = {10, 20};
};

TEST_P(FeatureMessage, GoesToTheVlanManager) {
  EXPECT_EQ(send(), 0);
  expect({sent_line(), "qbus_drop(30, request 1000)",
          control("tesk_qbus_send", std::string("Sent qbus ") + GetParam().name + "\n")});
}

TEST_P(FeatureMessage, IsNotSentWithoutAPayload) {
  when(GetParam().builder).returns(12).gives(-1);
  EXPECT_EQ(send(), 12);
  expect({trace("Null qbus pld from vlan manager\n")});
}

TEST_P(FeatureMessage, IsASuccessWithoutAPayloadWhenItsBuilderSaysSo) {
  when(GetParam().builder).gives(-1);
  EXPECT_EQ(send(), 0);
  expect({trace("Null qbus pld from vlan manager\n")});
}

TEST_P(FeatureMessage, IsNotSentWhenItsBuilderFails) {
  when(GetParam().builder).returns(12);
  EXPECT_EQ(send(), 12);
  expect({building_error(12)});
}

TEST_P(FeatureMessage, IsNotSentWithoutLengthAndThatIsASuccess) {
  when(GetParam().builder).gives(0);
  EXPECT_EQ(send(), 0);
  expect({building_error(0)});
}

TEST_P(FeatureMessage, PassesBackAFailedSend) {
  when("fu_qbus_send").returns(-1);
  when("qbus_errno_get").returns(ENOBUFS);
  EXPECT_EQ(send(), ENOBUFS);
  const std::string reason = std::to_string(ENOBUFS) + " [" + std::strerror(ENOBUFS) + "]\n";
  expect({sent_line(), control("tesk_qbus_send", "Qbus send error rc = " + reason),
          control("tesk_qbus_send", std::string("Sent qbus ") + GetParam().name + "\n"),
          trace("Bad qbus send to vlan manager for 2 vlans. rc = " + reason)});
}

INSTANTIATE_TEST_SUITE_P(OfBothKinds, FeatureMessage,
                         testing::Values(Feature{tesk_send_set_feat_in_vlan, "tesk_send_set_feat_in_vlan",
                                                 "vlan_feat_create_build_qbus_local", "0x5c2d",
                                                 "QBUS_OPC_VLAN_FEAT_CREATE", "set"},
                                         Feature{tesk_send_unset_feat_in_vlan, "tesk_send_unset_feat_in_vlan",
                                                 "vlan_feat_delete_build_qbus_local", "0x5c2e",
                                                 "QBUS_OPC_VLAN_FEAT_DELETE", "unset"}),
                         [](const auto &instance) { return instance.param.word; });

TEST_F(LtlAnswer, OfTheVlanManagerToAFeatureMessageIsNothing) {
  qbus_msg_ref_t message = answer(1001);
  tesk_vlan_feat_create(&message);
  tesk_vlan_feat_delete(&message);
  expect({});
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
}

}  // namespace
