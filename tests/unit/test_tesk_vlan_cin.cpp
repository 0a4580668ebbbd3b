/* CIN VLANs by command: adding and deleting them. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

const char *const adder = "tesk_cli_vlan_add_handler";
const char *const deleter = "tesk_cli_vlan_del_handler";

/** The first calls of every addition, up to the look-up of its members. */
Lines entered_and_stored(uint32_t vlan) {
  return lines(vlan_pushed(format("%u ports 0x0", vlan)), stored(vlan), port_marked());
}

Line taken_out_of_ports() { return control_of("tesk_port_vlan_delete", ":\n"); }

bool is_stored(int32_t vlan) {
  for (const auto &[key, value] : store(running_store).records)
    if (key == cin_key(vlan) && value.empty()) return true;
  return false;
}

bool is_accepted(uint16_t vlan) { return tesk_port_has_vlan(&amm_mgmt_port, vlan) != 0; }

class CinVlanAdded : public TablesTest {};

TEST_F(CinVlanAdded, OutsideItsRangeIsRefusedInSilence) {
  for (const int32_t vlan : {2, 1, 0, -1, 4095, 4096, 65546, INT32_MIN, INT32_MAX})
    EXPECT_FALSE(tesk_cli_vlan_add_handler(vlan)) << vlan;
  expect({});
}

TEST_F(CinVlanAdded, AtTheEndsOfItsRangeIsAccepted) {
  EXPECT_TRUE(tesk_cli_vlan_add_handler(3));
  EXPECT_TRUE(tesk_cli_vlan_add_handler(4094));
  EXPECT_EQ(cin_vlan_count, 2);
  ignore_rest();
}

TEST_F(CinVlanAdded, WithoutAMemberIsNotActivated) {
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), control_of(adder, ":Empty if_index list for VLAN 10\n")));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0u);
  EXPECT_TRUE(is_stored(10));
  EXPECT_TRUE(is_accepted(10));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, TwiceIsASuccessThatChangesNothing) {
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  forget();
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect({control_of(adder, ":VLAN 10 has already been configured as CIN VLAN\n")});
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, WithMembersHasTheMasksOfThoseThatBlockAndThoseThatForward) {
  const tesk_port_t *blocking = port_is_up(ethernet(3), {10});
  tesk_port_t *forwarding = port_is_up(ethernet(4), {10});
  port_is_up(ethernet(5), {11});
  tesk_port_t *last = port_is_up(ethernet(6), {10});
  bitset_set_bit(&forwarding->vlan_cbl_bmp, 10);
  bitset_set_bit(&last->vlan_cbl_bmp, 10);
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), port_marked(), port_marked(), port_marked(), ltl_set(10, 0x58),
               activated(10, 1000), cbl_set(10, 0x50)));
  EXPECT_EQ(shown_set(blocking->vlan_bmp), "{10 4095}");
  EXPECT_EQ(shown_set(forwarding->vlan_bmp), "{10 4095}");
  EXPECT_TRUE(blocking->is_dirty);
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, WithMembersThatAllBlockHasNoForwardingMask) {
  port_is_up(ethernet(3), {10});
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), port_marked(), ltl_set(10, 0x8), activated(10, 1000)));
}

TEST_F(CinVlanAdded, WithUplinksAloneIsNotActivated) {
  port_is_up(ethernet(4), {10});
  vorlund_platform = true;
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), converted(ethernet(4)),
               control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000004] Uplink Port\n"),
               control_of(adder, ":VLAN 10 not active on any downlink port\n")));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, OnAsicPort40HasNoMask) {
  port_is_up(ethernet(40), {10});
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), port_marked(),
               control_of(adder, ":VLAN 10 not active on any downlink port\n")));
  EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(40))->vlan_bmp), "{10 4095}");
}

TEST_F(CinVlanAdded, AsTheFifteenthIsRefused) {
  for (int32_t vlan = 101; vlan <= 114; ++vlan) EXPECT_TRUE(tesk_cli_vlan_add_handler(vlan));
  forget();
  EXPECT_FALSE(tesk_cli_vlan_add_handler(115));
  EXPECT_TRUE(tesk_cli_vlan_add_handler(114));
  expect(
      {error(adder, "Maximum number (14) of supported CIN VLANs exceeded.Cannot configure more CIN VLANs\n"),
       control_of(adder, ":VLAN 114 has already been configured as CIN VLAN\n")});
  EXPECT_EQ(cin_vlan_count, 14);
  EXPECT_EQ(vlan_entry(115), nullptr);
  EXPECT_FALSE(is_stored(115));
  EXPECT_FALSE(is_accepted(115));
}

TEST_F(CinVlanAdded, WithACountBelowZeroComplainsAndGoesOn) {
  cin_vlan_count = -1;
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(error(adder, "Invalid CIN VLAN count:-1\n"), entered_and_stored(10),
               control_of(adder, ":Empty if_index list for VLAN 10\n")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanAdded, WithACountAboveTheLimitComplainsTwiceAndIsRefused) {
  cin_vlan_count = 15;
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect({error(adder, "Invalid CIN VLAN count:15\n"),
          error(adder,
                "Maximum number (14) of supported CIN VLANs exceeded.Cannot configure more CIN VLANs\n")});
}

TEST_F(CinVlanAdded, WithoutMemoryForItsEntryFails) {
  fail_allocation(1);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect({error_of(adder, ":Failed to insert VLAN 10 in Hash Table\n")});
  EXPECT_EQ(cin_vlan_count, 0);
  EXPECT_FALSE(is_accepted(10));
}

TEST_F(CinVlanAdded, ThatCannotBeStoredKeepsItsEntry) {
  when("kvs_store").returns(RCODE_IO);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect(lines(vlan_pushed("10 ports 0x0"), looked_up(10, "does not exist"),
               "kvs_store(1, 1, " + shown_key(10) + ", '')",
               error_of("tesk_kvs_add_cin_vlan_config", ": Failed to write CIN VLAN (10) to KVS\n"),
               error_of(adder, ":Failed to add VLAN 10 to KVS\n")));
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_FALSE(is_accepted(10));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanAdded, ThatIsStoredAlreadyIsASuccess) {
  store_cin_vlans(running_store, {10});
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(vlan_pushed("10 ports 0x0"), looked_up(10, "exists"),
               error_of("tesk_kvs_add_cin_vlan_config", ": VLAN (10) configuration already exists in KVS\n"),
               port_marked(), control_of(adder, ":Empty if_index list for VLAN 10\n")));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, WithoutMemoryForItsMembersKeepsWhatWasDone) {
  fail_allocation(2);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect(lines(
      entered_and_stored(10),
      error_of("tesk_port_vlan_shadowdb_get_port_list", ":Failed to allocate memory for if_index list\n"),
      error_of(adder, ":Failed to retrieve the member ports for VLAN 10\n")));
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_TRUE(is_stored(10));
  EXPECT_TRUE(is_accepted(10));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanAdded, ThatCannotBeActivatedKeepsItsMembersAndHasNoForwardingMask) {
  tesk_port_t *port = port_is_up(ethernet(3), {10});
  bitset_set_bit(&port->vlan_cbl_bmp, 10);
  when("ltlsvc_send_ltl_alloc").returns(5);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), port_marked(), ltl_set(10, 0x8),
               "ltlsvc_send_ltl_alloc(30, 7, 10, 0, 0, 0)",
               error_of("tesk_vlan_activate", ": Tesk traffic redirection setup for vlan 10 failed\n"),
               error_of(adder, ": Failed to activate VLAN 10\n")));
  EXPECT_EQ(vlan_entry(10)->cbl, 0u);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 4095}");
  EXPECT_EQ(cin_vlan_count, 0);
  EXPECT_EQ(vlan_entry(10)->ltl, 0x8u);
  EXPECT_TRUE(is_stored(10));
  EXPECT_TRUE(is_accepted(10));
}

TEST_F(CinVlanAdded, PassesOverAMemberWhoseContextIsNotUnderItsIndex) {
  tesk_port_t *stray = loose_port(ethernet(4), 4);
  bitset_set_bit(&stray->shadow_vlan_bmp, 10);
  ASSERT_TRUE(tesk_ifindex_hash_insert(ethernet(3), stray));
  forget();
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), error_of(adder, ":Failed to Retrieve Port Context for 0x1a000004\n"),
               control_of(adder, ":VLAN 10 not active on any downlink port\n")));
}

TEST_F(CinVlanAdded, TakesTheMemberBehindAnUplinkAndOneWithoutContext) {
  tesk_port_t *stray = loose_port(ethernet(9), 9);
  bitset_set_bit(&stray->shadow_vlan_bmp, 10);
  ASSERT_TRUE(tesk_ifindex_hash_insert(ethernet(3), stray));
  const tesk_port_t *uplink = port_is_up(ethernet(4), {10});
  const tesk_port_t *member = port_is_up(ethernet(8), {10});
  vorlund_platform = true;
  EXPECT_TRUE(tesk_cli_vlan_add_handler(10));
  const auto is = [](uint32_t port, const char *what) {
    return lines(converted(ethernet(port)),
                 control_of("tesk_port_is_downlink_ifindex",
                            format(":IfIndex [0x%x] %s Port\n", ethernet(port), what)));
  };
  expect(lines(entered_and_stored(10), is(9, "Downlink"),
               error_of(adder, ":Failed to Retrieve Port Context for 0x1a000009\n"), is(4, "Uplink"),
               is(8, "Downlink"), port_marked(), ltl_set(10, 0x100), activated(10, 1000)));
  EXPECT_EQ(shown_set(uplink->vlan_bmp), "{4095}");
  EXPECT_EQ(shown_set(member->vlan_bmp), "{10 4095}");
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanAdded, WhoseMasksCannotBeSetFails) {
  tesk_port_t *port = port_is_up(ethernet(3), {10, 11});
  bitset_set_bit(&port->vlan_cbl_bmp, 11);
  when("tesk_vlan_hash_set_ltl").call(1).returns(0);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(10));
  expect(lines(entered_and_stored(10), port_marked(),
               error_of(adder, ":Failed to set LTL: 00008 for VLAN 10\n")));
  when("tesk_vlan_hash_set_cbl").returns(0);
  EXPECT_FALSE(tesk_cli_vlan_add_handler(11));
  expect(lines(entered_and_stored(11), entered("tesk_krnl_port_info_dirty"), ltl_set(11, 0x8),
               activated(11, 1000), error_of(adder, ":Failed to set CBL: 00008 for VLAN 11\n")));
  EXPECT_EQ(cin_vlan_count, 0);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 11 4095}");
  for (const uint16_t vlan : std::initializer_list<uint16_t>{10, 11}) {
    EXPECT_NE(vlan_entry(vlan), nullptr);
    EXPECT_TRUE(is_stored(vlan));
    EXPECT_TRUE(is_accepted(vlan));
  }
}

/** VLAN 10 is configured. */
class CinVlanDeleted : public TablesTest {
 protected:
  CinVlanDeleted() : TablesTest({10}) {}
};

TEST_F(CinVlanDeleted, ThatWasNeverConfiguredFails) {
  for (const int32_t vlan : {11, 0, 4096, 65535}) {
    EXPECT_FALSE(tesk_cli_vlan_del_handler(vlan));
    expect({control(deleter, "VLAN " + std::to_string(vlan) + " had not been configured as CIN VLAN\n")});
  }
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanDeleted, IsTheOneOfTheNumbersLowSixteenBits) {
  EXPECT_FALSE(tesk_cli_vlan_del_handler(-1));
  expect({control(deleter, "VLAN 65535 had not been configured as CIN VLAN\n")});
  EXPECT_TRUE(tesk_cli_vlan_del_handler(65546));
  expect(lines(taken_out_of_ports(), port_marked(), unstored(10), vlan_removed(10)));
  EXPECT_EQ(vlan_entry(10), nullptr);
  EXPECT_FALSE(is_stored(10));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanDeleted, WithoutAMemberIsNotDeactivated) {
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect(lines(taken_out_of_ports(), port_marked(), unstored(10), vlan_removed(10)));
  EXPECT_EQ(vlan_entry(10), nullptr);
  EXPECT_FALSE(is_stored(10));
  EXPECT_FALSE(is_accepted(10));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanDeleted, WithAMemberIsDeactivatedFirst) {
  const tesk_port_t *port = port_is_up(ethernet(3), {10});
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect(lines(deactivated(10, 1002), taken_out_of_ports(),
               control_of("tesk_port_vlan_delete", ": Deleting VLAN 10 from Port 0x1a000003\n"),
               port_marked(), port_marked(), unstored(10), vlan_removed(10)));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10}") << "so that it can come back";
}

TEST_F(CinVlanDeleted, ThatCannotBeDeactivatedStays) {
  const tesk_port_t *port = port_is_up(ethernet(3), {10});
  when("kinb_tesk_vlan_del").returns(5);
  EXPECT_FALSE(tesk_cli_vlan_del_handler(10));
  expect({"kinb_tesk_vlan_del(10)",
          error_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 failed\n"),
          error(deleter, "Failed to deactivate VLAN 10\n")});
  EXPECT_TRUE(is_stored(10));
  EXPECT_EQ(cin_vlan_count, 1);
  EXPECT_TRUE(is_accepted(10));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 4095}");
}

TEST_F(CinVlanDeleted, ThatIsNotStoredFailsAndStaysInTheTable) {
  store(running_store).records.clear();
  EXPECT_FALSE(tesk_cli_vlan_del_handler(10));
  expect(lines(taken_out_of_ports(), port_marked(), looked_up(10, "does not exist"),
               error_of("tesk_kvs_del_cin_vlan_config", ": VLAN (10) configuration does not exist in KVS\n"),
               error(deleter, "Failed to delete VLAN 10 from KVS\n")));
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_FALSE(is_accepted(10));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinVlanDeleted, ThatThePortsKeepStaysStored) {
  when("tesk_port_vlan_delete").returns(5);
  EXPECT_FALSE(tesk_cli_vlan_del_handler(10));
  expect({error(deleter, "Failed to delete VLAN 10 from Port Contexts\n")});
  EXPECT_TRUE(is_stored(10));
  EXPECT_EQ(cin_vlan_count, 1);
  EXPECT_TRUE(is_accepted(10));
  EXPECT_NE(vlan_entry(10), nullptr);
}

TEST_F(CinVlanDeleted, ThatTheTableKeepsStaysCounted) {
  when("tesk_vlan_hash_delete").returns(0);
  EXPECT_FALSE(tesk_cli_vlan_del_handler(10));
  expect(lines(taken_out_of_ports(), port_marked(), unstored(10),
               error(deleter, "Failed to delete VLAN 10 from Hash Table\n")));
  EXPECT_EQ(cin_vlan_count, 1);
  EXPECT_FALSE(is_stored(10));
  EXPECT_FALSE(is_accepted(10));
}

TEST_F(CinVlanDeleted, WithACountOfNoneIsCorrected) {
  cin_vlan_count = 0;
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect(lines(error(deleter, "Invalid CIN VLAN count:0\n"), taken_out_of_ports(), port_marked(),
               unstored(10), vlan_removed(10), error(deleter, "Correcting CIN VLAN count (-1)\n")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanDeleted, WithACountBelowZeroIsCorrected) {
  cin_vlan_count = -1;
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect(lines(error(deleter, "Invalid CIN VLAN count:-1\n"), taken_out_of_ports(), port_marked(),
               unstored(10), vlan_removed(10), error(deleter, "Correcting CIN VLAN count (-2)\n")));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanDeleted, ComplainsOfTheCountBeforeTheDeactivation) {
  port_is_up(ethernet(3), {10});
  cin_vlan_count = 0;
  when("kinb_tesk_vlan_del").returns(5);
  EXPECT_FALSE(tesk_cli_vlan_del_handler(10));
  expect({error(deleter, "Invalid CIN VLAN count:0\n"), "kinb_tesk_vlan_del(10)",
          error_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 failed\n"),
          error(deleter, "Failed to deactivate VLAN 10\n")});
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(CinVlanDeleted, WithACountAboveTheLimitComplainsAndGoesOn) {
  cin_vlan_count = 15;
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect_apart_from_control({error(deleter, "Invalid CIN VLAN count:15\n"),
                             "kvs_fetch(1, " + shown_key(10) + ")", "kvs_delete(1, " + shown_key(10) + ")",
                             "ioctl(31, del_vlan, 10)"});
  EXPECT_EQ(cin_vlan_count, 14);
}

TEST_F(CinVlanDeleted, WithACountAtTheLimitIsNoReasonToComplain) {
  cin_vlan_count = 14;
  EXPECT_TRUE(tesk_cli_vlan_del_handler(10));
  expect_apart_from_control({"kvs_fetch(1, " + shown_key(10) + ")", "kvs_delete(1, " + shown_key(10) + ")",
                             "ioctl(31, del_vlan, 10)"});
  EXPECT_EQ(cin_vlan_count, 13);
}

TEST_F(CinVlanDeleted, MayHaveNumberZeroWhenTheTableHasIt) {
  EXPECT_TRUE(tesk_vlan_hash_insert(0));
  forget();
  EXPECT_FALSE(tesk_cli_vlan_del_handler(0)) << "the store does not have it";
  expect(lines(taken_out_of_ports(), port_marked(), "kvs_fetch(1, 8 zero bytes)",
               control_of("tesk_kvs_get_cin_vlan_config", ": VLAN (0) configuration does not exist in KVS\n"),
               error_of("tesk_kvs_del_cin_vlan_config", ": VLAN (0) configuration does not exist in KVS\n"),
               error(deleter, "Failed to delete VLAN 0 from KVS\n")));
}

TEST_F(CinVlanDeleted, IsTheSolVlanTooUntilTheStoreRefuses) {
  EXPECT_FALSE(tesk_cli_vlan_del_handler(4095));
  expect(
      lines(taken_out_of_ports(), port_marked(), looked_up(4095, "does not exist"),
            error_of("tesk_kvs_del_cin_vlan_config", ": VLAN (4095) configuration does not exist in KVS\n"),
            error(deleter, "Failed to delete VLAN 4095 from KVS\n")));
  EXPECT_NE(vlan_entry(4095), nullptr);
  EXPECT_FALSE(is_accepted(4095));
}

}  // namespace
