/* The command for CIN VLANs (chassis internal network), its plain and "no" forms, and its answers. */
#include "tesk/tesk_cli.h"
#include "tests/unit/tables.h"

namespace {

constexpr uint32_t vlan_list = 0x13030007;
const char *const command = "tesk_cli_process_cin_cfg";

using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

Line ok() { return "cmd_rsp_send_ok(command 3)"; }
Line nok(const std::string &text) { return Line("cmd_rsp_send_nok(command 3, 0, '" + text + "')"); }

/** The first lines of a command whose list is accepted. */
Lines started(int is_no_form) {
  return lines(control(command, format("is_del[%d]\n", is_no_form)), "cmd_mrange_create(0x13030007)");
}

Line checked(uint32_t vlan) { return Line(format("vlan_mgr_check_feat(1, %u, {2 3})", vlan)); }

/** A VLAN without members is added. */
Lines added(uint32_t vlan) {
  return lines(checked(vlan), vlan_pushed(format("%u ports 0x0", vlan)), stored(vlan), port_marked(),
               control_of("tesk_cli_vlan_add_handler", format(":Empty if_index list for VLAN %u\n", vlan)));
}

Line not_configured(uint32_t vlan) {
  return control("tesk_cli_vlan_del_handler", format("VLAN %u had not been configured as CIN VLAN\n", vlan));
}

Line set_succeeded() { return control(command, "tesk_send_set_feat_in_vlan succeeded.\n"); }
Line unset_succeeded() { return control(command, "tesk_send_unset_feat_in_vlan succeeded.\n"); }

/** The rejected ranges in an answer. */
Lines rejected(const Ranges &ranges) {
  Lines all = {"cmd_mrange_create(0x13030007)"};
  for (const auto &[lower, upper] : ranges)
    all.push_back(Line(format("cmd_mrange_range_add(%u, %u)", lower, upper)));
  all.push_back("cmd_rsp_error_set(command 3, list for 0x13030007)");
  return all;
}

void configure(const Bytes &list, bool is_no_form = false) {
  run_command({.id = 3, .is_no_form = is_no_form, .attributes = {{vlan_list, list}}},
              tesk_cli_process_cin_cfg);
}
void configure(const Ranges &ranges) { configure(vlan_ranges(ranges)); }
void no_configure(const Ranges &ranges) { configure(vlan_ranges(ranges), true); }

class CinCommand : public TablesTest {
 protected:
  explicit CinCommand(const std::vector<int32_t> &cin_vlans = {}) : TablesTest(cin_vlans) {}
};

TEST_F(CinCommand, AddsAVlanAndTellsTheVlanManager) {
  configure(Ranges{{10, 10}});
  expect(lines(started(0), added(10), feature_set("10", 1000), set_succeeded(), ok()));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(CinCommand, TellsTheVlanManagerOnceOfAllVlansInTheirOrder) {
  configure({{20, 21}, {10, 10}});
  expect(lines(started(0), added(20), added(21), added(10), feature_set("20 21 10", 1000), set_succeeded(),
               ok()));
}

TEST_F(CinCommand, ForOneInvalidVlanIsRefusedAtOnce) {
  for (const uint32_t vlan : {0u, 2u, 4095u, 4096u, 65546u, 0x7fffffffu}) {
    configure(Ranges{{vlan, vlan}});
    expect({control(command, "is_del[0]\n"), nok(format("Invalid CIN VLAN %u", vlan))});
    no_configure({{vlan, vlan}});
    expect({control(command, "is_del[1]\n"), nok(format("Invalid CIN VLAN %u", vlan))});
  }
}

TEST_F(CinCommand, ForTheLargestNumberIsRefusedWithASign) {
  configure(Ranges{{0xffffffff, 0xffffffff}});
  expect({control(command, "is_del[0]\n"), nok("Invalid CIN VLAN -1")});
}

TEST_F(CinCommand, ForTheEndsOfTheValidRangeIsServed) {
  configure(Ranges{{3, 3}});
  configure(Ranges{{4094, 4094}});
  EXPECT_EQ(count_of(ok()), 2u);
  ignore_rest();
}

TEST_F(CinCommand, ForARangeReportsTheVlansThatTheHandlersRefuse) {
  configure(Ranges{{1, 5}});
  expect(lines(started(0), checked(1), checked(2), added(3), added(4), added(5), feature_set("3 4 5", 1000),
               set_succeeded(), rejected({{1, 2}}), nok("Failed to configure VLAN(s) 1-2 as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, ForVlansThatAllFailCarriesNoList) {
  configure({{1, 2}, {4095, 4095}});
  expect(
      lines(started(0), checked(1), checked(2), checked(4095), nok("Failed to configure as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, ForOneVlanTwiceInTwoRangesIsNotCheckedBeforehand) {
  configure({{2, 2}, {2, 2}});
  expect(lines(started(0), checked(2), checked(2), nok("Failed to configure as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, DoesNotAddAVlanWithAnExcludingFeature) {
  when("vlan_mgr_check_feat").call(1).returns(0);
  configure(Ranges{{10, 11}});
  expect(lines(started(0), checked(10),
               control(command, "Incompatible feature found for vlan = 10, hence skipping..\n"), added(11),
               feature_set("11", 1000), set_succeeded(), rejected({{10, 10}}),
               nok("Failed to configure VLAN(s) 10 as CIN VLAN(s)\n")));
  EXPECT_EQ(vlan_entry(10), nullptr);
}

TEST_F(CinCommand, ForARangeThatRunsBackwardsDoesNothingAndSucceeds) {
  configure(Ranges{{20, 10}});
  expect(lines(started(0), ok()));
}

TEST_F(CinCommand, ForARangeOfNumbersAboveEveryVlanThatRunsBackwardsSucceedsToo) {
  configure(Ranges{{5000, 4500}});
  expect(lines(started(0), ok()));
}

TEST_F(CinCommand, ForOneNumberAboveEveryVlanAmongOthersFailsInPart) {
  configure({{10, 10}, {4096, 4096}});
  expect(lines(started(0), added(10), feature_set("10", 1000), set_succeeded(), rejected({}),
               nok("Failed to configure VLAN(s)  as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, ForNoRangesDoesNothingAndSucceeds) {
  configure(Ranges{});
  expect(lines(started(0), ok()));
  configure(Payload().u32(0).u32(0));
  expect(lines(started(0), ok()));
}

TEST_F(CinCommand, MarksTheTwoExcludingFeaturesAndItsOwnInTheirMaps) {
  when("bitset_set_bit").call(3).returns(0);  // is used only if all three are marked
  configure(Ranges{});
  expect(lines(started(0), ok()));
}

TEST_F(CinCommand, IsAnsweredWhenItsMapsAreFreed) {
  for (const Ranges &ranges : {Ranges{}, Ranges{{10, 10}}, Ranges{{1, 2}}, Ranges{{2, 3}}}) {
    configure(ranges);
    EXPECT_EQ(blocks_when_answered(), live_blocks());
  }
  ignore_rest();
}

TEST_F(CinCommand, SucceedsThoughTheVlanManagerCannotBeTold) {
  when("vlan_feat_create_build_qbus_local").returns(12).gives(-1);
  configure(Ranges{{10, 11}});
  expect(lines(started(0), added(10), added(11),
               control("tesk_send_set_feat_in_vlan", "Null qbus pld from vlan manager\n"),
               error(command, "tesk_send_set_feat_in_vlan failed for 2 vlans.\n"), ok()));
}

TEST_F(CinCommand, WithoutAListIsRefused) {
  run_command({.id = 3}, tesk_cli_process_cin_cfg);
  expect({nok("attribute missing: vlan list"), error(command, "failed to get vlan range in req")});
  when("cmd_req_attr_get").once().returns(0);
  run_command({.id = 3}, tesk_cli_process_cin_cfg);
  expect({nok("attribute missing: vlan list"), error(command, "failed to get vlan range in req")});
}

TEST_F(CinCommand, WithAListCutAnywhereIsRefused) {
  const Bytes whole = Payload().u32(0).u32(2).u32(10).u32(10).u32(20).u32(20);
  for (uint32_t length = 1; length < whole.size(); ++length) {
    configure(cut(whole, length));
    expect({nok("Invalid VLAN list\n"),
            error_of(command, format(": VLAN list of the CIN VLAN command cut short: %u bytes\n", length))});
  }
  configure(whole);
  EXPECT_EQ(count_of(ok()), 1u);
  ignore_rest();
}

TEST_F(CinCommand, WithMoreRangesThanItHoldsIsRefused) {
  for (const uint32_t claim : {65u, 0x20000000u, 0xffffffffu}) {
    Bytes list = vlan_ranges({{10, 10}});
    std::memcpy(list.data() + 4, &claim, sizeof claim);
    configure(list);
    expect({nok("Invalid VLAN list\n"),
            error_of(command, ": VLAN list of the CIN VLAN command cut short: 520 bytes\n")});
  }
}

TEST_F(CinCommand, WithMoreRangesThanACommandHasIsRefusedThoughTheyAreThere) {
  const Ranges ranges(65, {10, 10});
  Payload list;
  list.u32(0).u32(65);
  for (const auto &[lower, upper] : ranges) list.u32(lower).u32(upper);
  configure(list);
  expect({nok("Invalid VLAN list\n"),
          error_of(command, ": VLAN list of the CIN VLAN command cut short: 528 bytes\n")});
}

TEST_F(CinCommand, WithoutMemoryForAFeatureMapFails) {
  for (const unsigned number : {1u, 2u}) {
    fail_allocation(number);
    configure(Ranges{{10, 10}});
    expect(lines(started(0), error_of(command, ": no memory for the feature maps\n"),
                 nok("Failed to configure as CIN VLAN(s)\n")));
  }
}

TEST_F(CinCommand, ForNumbersAboveEveryVlanIsBoundedInTimeAndMemory) {
  for (const uint32_t upper : {4096u, 5000u, 0xffffffffu}) {
    configure(Ranges{{4094, upper}});
    EXPECT_NE(vlan_entry(4094), nullptr);
    EXPECT_EQ(count_of(checked(4095)), 1u);
    EXPECT_EQ(count_of(checked(4096)), 0u);
    EXPECT_EQ(count_of(nok("Failed to configure VLAN(s) 4095 as CIN VLAN(s)\n")), 1u);
    forget();
  }
  configure(Ranges{{5000, 0xffffffff}});
  expect(lines(started(0), nok("Failed to configure as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, ForTheSameVlansOverAndOverSucceedsEachTime) {
  configure(Ranges(64, {3, 16}));
  EXPECT_EQ(cin_vlan_count, 14);
  EXPECT_EQ(count_of(ok()), 1u);
  ignore_rest();
}

TEST_F(CinCommand, AnnouncesNoMoreVlansThanItHasRoomFor) {
  for (uint16_t vlan = 101; vlan <= 170; ++vlan) EXPECT_TRUE(tesk_vlan_hash_insert(vlan));
  when("vlan_feat_create_build_qbus_local").returns(12).gives(-1);
  configure(Ranges(64, {101, 170}));  // 64 x 70 successes; all are already configured
  EXPECT_EQ(count_of(error(command, "tesk_send_set_feat_in_vlan failed for 4094 vlans.\n")), 1u);
  EXPECT_EQ(count_of(ok()), 1u);
  ignore_rest();
}

TEST_F(CinCommand, NamesTheVlansThatFailEvenWithoutTheirRanges) {
  when("tesk_build_vlan_mrange").returns(0);
  when("tesk_set_failed_mrange").returns(0);
  configure(Ranges{{2, 3}});
  expect(lines(started(0), checked(2), added(3), feature_set("3", 1000), set_succeeded(),
               error(command, "Failed to create the failed VLAN multi-range\n"),
               error(command, "Failed to set VLAN multi-range\n"),
               nok("Failed to configure VLAN(s) 2 as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, IsRefusedOnceThoughTheShellTakesNoAnswer) {
  when("cmd_rsp_send_nok").returns(1);
  run_command({.id = 3}, tesk_cli_process_cin_cfg);
  expect({nok("attribute missing: vlan list"), error(command, "failed to get vlan range in req")});
  configure(cut(vlan_ranges({{10, 10}}), 3));
  expect({nok("Invalid VLAN list\n"),
          error_of(command, ": VLAN list of the CIN VLAN command cut short: 3 bytes\n")});
  configure(Ranges{{2, 2}});
  expect({control(command, "is_del[0]\n"), nok("Invalid CIN VLAN 2")});
  fail_allocation(1);
  configure(Ranges{{10, 10}});
  expect(lines(started(0), error_of(command, ": no memory for the feature maps\n"),
               nok("Failed to configure as CIN VLAN(s)\n")));
}

TEST_F(CinCommand, IsServedThoughTheShellTakesNoAnswer) {
  for (const char *operation : {"cmd_rsp_send_ok", "cmd_rsp_send_nok", "cmd_rsp_error_set"})
    when(operation).returns(1);
  when("cmd_mrange_create").returns(0);
  const Lines rejected_without_a_list = {"cmd_mrange_create(0x13030007)",
                                         "cmd_rsp_error_set(command 3, null)"};
  configure(Ranges{{10, 10}});
  expect(lines(started(0), added(10), feature_set("10", 1000), set_succeeded(), ok()));
  configure(Ranges{{1, 2}});
  expect(lines(started(0), checked(1), checked(2), nok("Failed to configure as CIN VLAN(s)\n")));
  configure(Ranges{{2, 3}});
  expect(lines(started(0), checked(2), added(3), feature_set("3", 1001), set_succeeded(),
               rejected_without_a_list, nok("Failed to configure VLAN(s) 2 as CIN VLAN(s)\n")));
  no_configure({{9, 10}});
  expect(lines(started(1), not_configured(9), removed(10), feature_unset("10", 1002), unset_succeeded(),
               rejected_without_a_list, nok("Failed to delete CIN VLAN(s) 9\n")));
}

/** VLANs 10, 11 and 20 are configured; the announcement at start had token 1000. */
class NoCinCommand : public CinCommand {
 protected:
  NoCinCommand() : CinCommand({10, 11, 20}) {}
};

TEST_F(NoCinCommand, DeletesVlansWithoutAskingTheVlanManager) {
  no_configure({{20, 20}, {10, 10}});
  expect(lines(started(1), removed(20), removed(10), feature_unset("20 10", 1001), unset_succeeded(), ok()));
  EXPECT_EQ(cin_vlan_count, 1);
}

TEST_F(NoCinCommand, ForVlansThatAllFailCarriesNoList) {
  no_configure({{30, 31}});
  expect(lines(started(1), not_configured(30), not_configured(31), nok("Failed to delete CIN VLAN(s)\n")));
}

TEST_F(NoCinCommand, NamesTheVlansThatFailAndCarriesTheirRanges) {
  no_configure({{9, 12}, {20, 20}, {30, 30}});
  expect(lines(started(1), not_configured(9), removed(10), removed(11), not_configured(12), removed(20),
               not_configured(30), feature_unset("10 11 20", 1001), unset_succeeded(),
               rejected({{9, 9}, {12, 12}, {30, 30}}), nok("Failed to delete CIN VLAN(s) 9,12,30\n")));
}

TEST_F(NoCinCommand, SucceedsThoughTheVlanManagerCannotBeTold) {
  when("vlan_feat_delete_build_qbus_local").returns(12).gives(-1);
  no_configure({{10, 10}});
  expect(lines(started(1), removed(10),
               control("tesk_send_unset_feat_in_vlan", "Null qbus pld from vlan manager\n"),
               error(command, "tesk_send_unset_feat_in_vlan failed for 1 vlans.\n"), ok()));
}

TEST_F(NoCinCommand, WithoutMemoryForAFeatureMapFailsInItsOwnWords) {
  fail_allocation(2);
  no_configure({{10, 10}});
  EXPECT_EQ(count_of(nok("Failed to delete CIN VLAN(s)\n")), 1u);
  ignore_rest();
}

TEST_F(NoCinCommand, CutsATextOfManyFailedVlansToItsBuffer) {
  Ranges odd = {{10, 10}};
  for (uint32_t vlan = 1001; odd.size() < 64; vlan += 2) odd.emplace_back(vlan, vlan);
  no_configure(odd);
  std::string text;
  for (uint32_t vlan = 1001; text.size() + 5 <= 127; vlan += 2)
    text += (text.empty() ? "" : ",") + std::to_string(vlan);
  EXPECT_EQ(count_of(nok("Failed to delete CIN VLAN(s) " + text + "\n")), 1u);
  EXPECT_EQ(count_of("cmd_mrange_range_add(1125, 1125)"), 1u);
  ignore_rest();
}

TEST_F(NoCinCommand, NeverFillsTheLastByteOfItsBufferWithText) {
  Ranges odd = {{10, 10}, {901, 901}};
  for (uint32_t vlan = 1001; odd.size() < 27; vlan += 2) odd.emplace_back(vlan, vlan);
  no_configure(odd);
  std::string text = "901";  // 25 more would make it 128 long
  for (uint32_t vlan = 1001; vlan <= 1047; vlan += 2) text += "," + std::to_string(vlan);
  EXPECT_EQ(count_of(nok("Failed to delete CIN VLAN(s) " + text + "\n")), 1u);
  ignore_rest();
}

}  // namespace
