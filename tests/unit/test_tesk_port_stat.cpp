/* Counters for the shell: one port's record, and the walk over all ports. */
#include "tesk/tesk_cli.h"
#include "tests/unit/tables.h"

namespace {

constexpr uint32_t management = 0x05000000;

Lines counters_read(uint32_t if_index) {
  return lines(entered("tesk_krnl_get_port_counters"),
               format("ioctl(31, get_port_counters, 0x%x)", if_index));
}

Lines counters_refused(uint32_t if_index) {
  return lines(counters_read(if_index), error("tesk_krnl_get_port_counters", "ioctl failure: 19\n"));
}

Line asked_for(uint32_t if_index) { return Line(format("portsvc_is_ifindex_present(0x%x)", if_index)); }

void expect_record(const tesk_cli_sh_stat_t &record, uint32_t if_index, Counters counters) {
  EXPECT_EQ(record.if_idx, if_index);
  EXPECT_EQ(record.tx_pkt_ucast, counters.tx_ucast);
  EXPECT_EQ(record.tx_pkt_mcast, counters.tx_mcast);
  EXPECT_EQ(record.rx_pkt_ucast, counters.rx_ucast);
  EXPECT_EQ(record.rx_pkt_mcast, counters.rx_mcast);
}

class PortCounters : public TablesTest {
 protected:
  /** Runs the walk with some records already filled. @return records filled at its end */
  uint32_t walk(uint32_t filled = 0) {
    uint32_t count = filled;
    tesk_port_hsh_tbl_get_stat(&count, records);
    return count;
  }

  tesk_cli_sh_stat_t records[TESK_CLI_STATS_MAX + 2] = {};
};

TEST_F(PortCounters, OfAPortAreTheKernelModules) {
  module_counts(ethernet(3), {1, 2, 3, 4});
  EXPECT_TRUE(tesk_port_hsh_tbl_get_stat_one_port(ethernet(3), &records[0]));
  expect(counters_read(ethernet(3)));
  expect_record(records[0], ethernet(3), {1, 2, 3, 4});
}

TEST_F(PortCounters, OfAPortThatTheKernelModuleDoesNotKnowAreZero) {
  records[0] = {9, 9, 9, 9, 9};
  EXPECT_TRUE(tesk_port_hsh_tbl_get_stat_one_port(ethernet(3), &records[0]));
  expect(counters_refused(ethernet(3)));
  expect_record(records[0], ethernet(3), {0, 0, 0, 0});
}

TEST_F(PortCounters, AreNotReadWithoutARecord) {
  EXPECT_FALSE(tesk_port_hsh_tbl_get_stat_one_port(ethernet(3), nullptr));
  expect({});
}

TEST_F(PortCounters, OfAllPortsBeginWithTheManagementPort) {
  module_counts(management, {7, 0, 0, 0});
  module_counts(ethernet(19), {0, 0, 0, 8});
  EXPECT_EQ(walk(), 21u);
  Lines expected = counters_read(management);
  for (uint32_t port = 0; port < 19; ++port)
    expected = lines(expected, asked_for(ethernet(port)), counters_refused(ethernet(port)));
  expect(lines(expected, asked_for(ethernet(19)), counters_read(ethernet(19))));
  expect_record(records[0], management, {7, 0, 0, 0});
  for (uint32_t port = 0; port < 19; ++port) expect_record(records[port + 1], ethernet(port), {0, 0, 0, 0});
  expect_record(records[20], ethernet(19), {0, 0, 0, 8});
}

TEST_F(PortCounters, OfAllPortsAreFourteenAndTheManagementPortOnTheVorlundBoard) {
  vorlund_platform = true;
  EXPECT_EQ(walk(), 15u);
  EXPECT_EQ(records[14].if_idx, ethernet(13));
  ignore_rest();
}

TEST_F(PortCounters, SkipAPortThatDoesNotExist) {
  vorlund_platform = true;
  when("portsvc_is_ifindex_present").returns(0);
  when("portsvc_is_ifindex_present").call(3).returns(1);
  EXPECT_EQ(walk(), 2u);
  const auto absent = [](uint32_t port) {
    return lines(
        asked_for(ethernet(port)),
        control("tesk_port_hsh_tbl_get_stat", format("ifindex: %x does not exist:0\n", ethernet(port))));
  };
  Lines expected = lines(counters_refused(management), absent(0), absent(1), asked_for(ethernet(2)),
                         counters_refused(ethernet(2)));
  for (uint32_t port = 3; port < 14; ++port) expected = lines(expected, absent(port));
  expect(expected);
  EXPECT_EQ(records[1].if_idx, ethernet(2));
}

TEST_F(PortCounters, TakeOnlyTheAnswerOneForAPortThatExists) {
  when("portsvc_is_ifindex_present").returns(2);
  EXPECT_EQ(walk(), 1u);
  EXPECT_EQ(count_of(control("ifindex: 1a000000 does not exist:2\n")), 1u);
  ignore_rest();
}

TEST_F(PortCounters, SkipAPortWithoutAnIndex) {
  when("if_index_phy_ethernet_init").call(1).returns(RCODE_INVALID);
  EXPECT_EQ(walk(), 20u);
  Lines expected = lines(counters_refused(management),
                         error("tesk_port_hsh_tbl_get_stat", "if_index_phy_eth_port_init failed\n"));
  for (uint32_t port = 1; port < 20; ++port)
    expected = lines(expected, asked_for(ethernet(port)), counters_refused(ethernet(port)));
  expect(expected);
  EXPECT_EQ(records[1].if_idx, ethernet(1));
}

TEST_F(PortCounters, GoBehindTheRecordsAlreadyFilled) {
  vorlund_platform = true;
  records[1].if_idx = 77;
  EXPECT_EQ(walk(2), 17u);
  EXPECT_EQ(records[1].if_idx, 77u);
  EXPECT_EQ(records[2].if_idx, management);
  ignore_rest();
}

TEST_F(PortCounters, NeverFillMoreThanTwentyOneRecords) {
  for (const uint32_t filled : {1u, 5u, 20u, 21u, 22u, 0xffffffffu}) {
    records[21].if_idx = 77;
    EXPECT_EQ(walk(filled), std::max(filled, 21u));
    EXPECT_EQ(records[21].if_idx, 77u) << filled;
  }
  ignore_rest();
}

TEST_F(PortCounters, AreNotReadWithoutAPlaceForThem) {
  uint32_t count = 0;
  tesk_port_hsh_tbl_get_stat(nullptr, records);
  tesk_port_hsh_tbl_get_stat(&count, nullptr);
  const Line refused = error("tesk_port_hsh_tbl_get_stat", "NULL Ptr Reference\n");
  expect({refused, refused});
}

}  // namespace
