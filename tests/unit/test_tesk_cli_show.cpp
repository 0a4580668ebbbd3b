/* The show commands. */
#include "tesk/tesk_cli.h"
#include "tests/unit/tables.h"

namespace {

constexpr uint32_t interface_range = 0x0ec20003;
constexpr uint32_t management = 0x05000000;

Line attribute(uint32_t id, uint32_t value) {
  return Line(format("cmd_rsp_attr_add(0x%x, 0x%x, 4)", id, value));
}

/** The lines of one record in an answer. */
Lines answered(uint32_t if_index, Counters counters) {
  return {attribute(0x14c20004, if_index), attribute(0x14c20006, counters.tx_ucast),
          attribute(0x14c20007, counters.tx_mcast), attribute(0x14c20008, counters.rx_ucast),
          attribute(0x14c20009, counters.rx_mcast)};
}

/** Counters are read of a port that the kernel module knows. */
Lines counters_read(uint32_t if_index) {
  return lines(entered("tesk_krnl_get_port_counters"),
               format("ioctl(31, get_port_counters, 0x%x)", if_index));
}

Lines counters_refused(uint32_t if_index) {
  return lines(counters_read(if_index), error("tesk_krnl_get_port_counters", "ioctl failure: 19\n"));
}

class ShowCounters : public TablesTest {
 protected:
  static void of_all() { run_command({.id = 1}, tesk_cli_bkend_show_counters); }
  static void of(const Bytes &range) {
    run_command({.id = 1, .attributes = {{interface_range, range}}}, tesk_cli_bkend_show_counters);
  }

  static Line trace(const std::string &text) { return control(function, text); }

  static constexpr const char *function = "tesk_cli_bkend_show_counters";
  const Lines started = {trace("Enter\n"), "cmd_rsp_init(command 1, 4096)"};
  const Line sent = "cmd_rsp_send()";
  const Lines none_known = {trace("Specified interface inactive or does not exist\n"),
                            "cmd_rsp_send_ok(command 1)"};
};

TEST_F(ShowCounters, OfAllPortsAnswersEachWithItsFiveAttributes) {
  when("portsvc_is_ifindex_present").returns(0);
  when("portsvc_is_ifindex_present").call(3).returns(1);
  module_counts(management, {1, 2, 3, 4});
  module_counts(ethernet(2), {5, 6, 7, 0xffffffff});
  of_all();
  Lines expected = lines(started, trace(":If:All\n"), counters_read(management));
  for (uint32_t port = 0; port < 20; ++port) {
    expected = lines(expected, format("portsvc_is_ifindex_present(0x%x)", ethernet(port)));
    expected = port == 2 ? lines(expected, counters_read(ethernet(2)))
                         : lines(expected, control("tesk_port_hsh_tbl_get_stat",
                                                   format("ifindex: %x does not exist:0\n", ethernet(port))));
  }
  expect(lines(expected, answered(management, {1, 2, 3, 4}), answered(ethernet(2), {5, 6, 7, 0xffffffff}),
               sent));
}

TEST_F(ShowCounters, OfARangeAnswersItsPortsInOrder) {
  module_counts(ethernet(3), {1, 2, 3, 4});
  of(interface_ranges({{ethernet(3), ethernet(4)}, {ethernet(9), ethernet(9)}}));
  expect(lines(started, trace(":If/If-Range: 2\n"), counters_read(ethernet(3)), counters_refused(ethernet(4)),
               counters_refused(ethernet(9)), answered(ethernet(3), {1, 2, 3, 4}), answered(ethernet(4), {}),
               answered(ethernet(9), {}), sent));
}

TEST_F(ShowCounters, PutTheNameOfEachInterfaceTogether) {
  when("snprintf_if_index").call(3).returns(0);  // is used only if each of the three is named
  of(interface_ranges({{ethernet(3), ethernet(5)}}));
  EXPECT_EQ(count_of(sent), 1u);
  ignore_rest();
}

TEST_F(ShowCounters, OfARangeWithoutAPortAnswersOkWithoutRecords) {
  for (const auto &[lower, upper] : std::vector<std::pair<uint32_t, uint32_t>>{
           {ethernet(4), ethernet(3)}, {ethernet(3), port_channel(4)}, {0, 0xffffffff}}) {
    of(interface_ranges({{lower, upper}}));
    expect(lines(started, trace(":If/If-Range: 1\n"), none_known));
  }
}

TEST_F(ShowCounters, OfNoRangesAnswersOkWithoutRecords) {
  of(interface_ranges({}));
  expect(lines(started, trace(":If/If-Range: 0\n"), none_known));
}

TEST_F(ShowCounters, OfAnEmptyAttributeIsOfAllPorts) {
  of({});
  EXPECT_EQ(count_of(trace(":If:All\n")), 1u);
  EXPECT_EQ(count_of(sent), 1u);
  ignore_rest();
}

TEST_F(ShowCounters, NeverAnswersMoreThanTwentyOneRecords) {
  const std::vector<std::pair<uint32_t, uint32_t>> everything(64, {ethernet(0), ethernet(0xffff)});
  of(interface_ranges(everything));
  EXPECT_EQ(count_of("cmd_rsp_send()"), 1u);
  EXPECT_EQ(count_of(attribute(0x14c20006, 0)), 21u);
  EXPECT_EQ(count_of(error("ioctl failure: 19\n")), 21u);
  ignore_rest();
}

TEST_F(ShowCounters, WithoutRoomForAnAnswerAreRefused) {
  when("cmd_rsp_init").returns(0);
  of_all();
  expect(lines(started, "cmd_rsp_send_nok(command 1, 0, 'Internal error: cmd_rsp_init failed \n')"));
}

Lines cut_short(const Lines &started, uint32_t length) {
  return lines(started,
               error_of("tesk_cli_bkend_show_counters",
                        format(": interface range of show counters cut short: %u bytes\n", length)),
               "cmd_rsp_send_nok(command 1, 0, 'Invalid interface range\n')");
}

TEST_F(ShowCounters, OfARangeCutAnywhereAreRefused) {
  const Bytes whole = interface_ranges({{ethernet(3), ethernet(3)}, {ethernet(4), ethernet(4)}});
  for (uint32_t length = 1; length < whole.size(); ++length) {
    of(cut(whole, length));
    expect(cut_short(started, length));
  }
}

TEST_F(ShowCounters, OfMoreRangesThanThereAreAreRefused) {
  for (const uint32_t claim : {2u, 65u, 0x20000000u, 0xffffffffu}) {
    Bytes range = interface_ranges({{ethernet(3), ethernet(3)}});
    std::memcpy(range.data() + 4, &claim, sizeof claim);
    of(range);
    expect(cut_short(started, static_cast<uint32_t>(range.size())));
  }
}

TEST_F(ShowCounters, OfMoreRangesThanARequestHoldsAreRefused) {
  const std::vector<std::pair<uint32_t, uint32_t>> too_many(65, {ethernet(3), ethernet(3)});
  of(interface_ranges(too_many));
  expect(cut_short(started, 12 + 65 * 8));
}

TEST_F(ShowCounters, OfAllPortsWithoutAnyAnswersOkWithoutRecords) {
  when("tesk_port_hsh_tbl_get_stat").returns(0);
  of_all();
  expect(lines(started, trace(":If:All\n"), trace("No active interfaces\n"), "cmd_rsp_send_ok(command 1)"));
}

TEST_F(ShowCounters, OfARangeEndWithThePositionThatTheLibraryRefuses) {
  when("if_index_get_if_index_in_range").call(2).returns(RCODE_INVALID);
  of(interface_ranges({{ethernet(3), ethernet(5)}}));
  expect(lines(started, trace(":If/If-Range: 1\n"), counters_refused(ethernet(3)), answered(ethernet(3), {}),
               sent));
}

TEST_F(ShowCounters, AreAnsweredOnceThoughTheShellTakesNoAnswer) {
  for (const char *operation : {"cmd_rsp_attr_add", "cmd_rsp_send", "cmd_rsp_send_ok", "cmd_rsp_send_nok"})
    when(operation).returns(1);
  const Bytes range = interface_ranges({{ethernet(3), ethernet(3)}});
  of(range);
  expect(lines(started, trace(":If/If-Range: 1\n"), counters_refused(ethernet(3)), answered(ethernet(3), {}),
               sent));
  of(interface_ranges({}));
  expect(lines(started, trace(":If/If-Range: 0\n"), none_known));
  of(cut(range, 3));
  expect(cut_short(started, 3));
  when("cmd_rsp_init").returns(0);
  of_all();
  expect(lines(started, "cmd_rsp_send_nok(command 1, 0, 'Internal error: cmd_rsp_init failed \n')"));
}

class ShowCinVlans : public TablesTest {
 protected:
  ShowCinVlans() : TablesTest({40, 5, 37}) {}

  static void run() { run_command({.id = 2}, tesk_cli_bkend_show_cin); }

  const Lines started = {control("tesk_cli_bkend_show_cin", "Enter\n"), "cmd_rsp_init(command 2, 4096)"};
};

TEST_F(ShowCinVlans, AnswersEachVlanInTheTablesOrder) {
  run();
  expect(lines(started, attribute(0x14c2000b, 37), attribute(0x14c2000b, 5), attribute(0x14c2000b, 40),
               "cmd_rsp_send()"));
}

TEST_F(ShowCinVlans, IsAnsweredWhenItsListIsFreed) {
  run();
  EXPECT_EQ(blocks_when_answered(), live_blocks());
  ignore_rest();
}

TEST_F(ShowCinVlans, IsAnsweredOnceThoughTheShellTakesNoAnswer) {
  when("cmd_rsp_send").returns(1);
  run();
  expect(lines(started, attribute(0x14c2000b, 37), attribute(0x14c2000b, 5), attribute(0x14c2000b, 40),
               "cmd_rsp_send()"));
}

TEST_F(ShowCinVlans, AnswersWithoutAttributesWhenThereAreNone) {
  for (const uint16_t vlan : std::initializer_list<uint16_t>{40, 5, 37})
    EXPECT_TRUE(tesk_vlan_hash_delete(vlan));
  forget();
  run();
  expect(lines(started, "cmd_rsp_send()"));
}

TEST_F(ShowCinVlans, AnswersWithoutAttributesWhenMemoryIsShort) {
  fail_allocation(1);
  run();
  expect(lines(started, error_of("tesk_vlan_get_vlan_list", ":Failed to allocate memory for vlan list\n"),
               "cmd_rsp_send()"));
}

TEST_F(ShowCinVlans, IsRefusedWithoutRoomForAnAnswer) {
  when("cmd_rsp_init").returns(0);
  run();
  expect(lines(started, "cmd_rsp_send_nok(command 2, 0, 'Internal error: cmd_rsp_init failed \n')"));
}

}  // namespace
