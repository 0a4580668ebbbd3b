/* The back end: debug requests, enable requests, and the routing of shell requests. */
#include "tesk/tesk_cli.h"

#include "opal/ncfg.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_qbus.h"
#include "tests/unit/tables.h"

namespace {

constexpr int32_t set_request = 3, delete_request = 4;
constexpr int32_t other_requests[] = {-1, 0, 1, 2, 5, 6, 7};

/** A request: its header, which states `data_size` as the length of the body, and the body. */
Bytes request(int32_t kind, uint32_t data_size, const Bytes &body) {
  return Payload().raw(kind).u32(data_size).zeros(NCFG_HEADER_BYTES - 8).bytes(body);
}

/* ---- debug requests ---- */

class DebugRequest : public DaemonTest {
 protected:
  DebugRequest() { tesk_qbus_q = queue_descriptor; }

  static void arrives_as(const Bytes &payload) {
    qbus_msg_ref_t message = hold({.opcode = QBUS_OPC_TESK_CFGDBG, .payload = payload});
    tesk_qbus_cfgdbg_msg(&message);
  }

  static void asks(int32_t kind, uint8_t type) { arrives_as(request(kind, 2, {type, 1})); }

  static Line trace(const char *text) { return control(function, text); }

  static constexpr const char *function = "tesk_qbus_cfgdbg_msg";
  const Lines acknowledged = {trace("tesk_qbus_cfgdbg_msg Enter\n"),
                              "qbus_reply(30, message 0x20401, 112 zero bytes)"};
  const Line done = trace("tesk_qbus_cfgdbg_msg Exit\n");
  const Line packet_flag = packet(function, "$$$$ PKT Flag ON!! $$$$\n");
  const Lines control_flag = {trace("$$$$ CTRL Flag ON!! $$$$\n"), packet("", "TRACEKIT Working!!!")};
};

TEST_F(DebugRequest, SwitchesPacketTracesOn) {
  asks(set_request, 0);
  expect(lines(acknowledged, packet(function, "DBG_PKT Set[1]\n"), packet_flag, done));
  EXPECT_TRUE(tesk_dbg_pkt);
  EXPECT_FALSE(tesk_dbg_ctrl);
}

TEST_F(DebugRequest, SwitchesPacketTracesOff) {
  tesk_dbg_pkt = tesk_dbg_ctrl = true;
  asks(delete_request, 0);
  expect(lines(acknowledged, packet(function, "DBG_PKT ReSet[0]\n"), packet_flag, done));
  EXPECT_FALSE(tesk_dbg_pkt);
  EXPECT_TRUE(tesk_dbg_ctrl);
}

TEST_F(DebugRequest, OfAnotherKindForPacketsLeavesTheFlag) {
  for (const int32_t kind : other_requests) {
    for (const boolean before : {0u, 1u}) {
      tesk_dbg_pkt = before;
      asks(kind, 0);
      expect(lines(acknowledged, error(function, "Invalid TESK CLI DBG_PKT Req\n"), packet_flag, done));
      EXPECT_EQ(tesk_dbg_pkt, before);
    }
  }
}

TEST_F(DebugRequest, SwitchesControlTracesOnAndOff) {
  asks(set_request, 1);
  expect(lines(acknowledged, trace("DBG_CTRL Set\n"), control_flag, done));
  EXPECT_TRUE(tesk_dbg_ctrl);
  asks(delete_request, 1);
  expect(lines(acknowledged, trace("DBG_CTRL Set\n"), control_flag, done));
  EXPECT_FALSE(tesk_dbg_ctrl);
  EXPECT_FALSE(tesk_dbg_pkt);
}

TEST_F(DebugRequest, OfAnotherKindForControlLeavesTheFlag) {
  for (const int32_t kind : other_requests) {
    for (const boolean before : {0u, 1u}) {
      tesk_dbg_ctrl = before;
      asks(kind, 1);
      expect(lines(acknowledged, trace("DBG_CTRL Set\n"), error(function, "Invalid TESK CLI DBG_CTRL Req\n"),
                   control_flag, done));
      EXPECT_EQ(tesk_dbg_ctrl, before);
    }
  }
}

TEST_F(DebugRequest, ForControlRecordsItsBareTextOnlyWhilePacketsAreRecorded) {
  when("tracekit_hist_event_subtype_check").call(4).returns(1);  // after Enter, Set and Flag: the bare text
  asks(set_request, 1);
  expect(lines(acknowledged, trace("DBG_CTRL Set\n"), trace("$$$$ CTRL Flag ON!! $$$$\n"), done));
}

TEST_F(DebugRequest, ForAllChangesNoFlag) {
  asks(set_request, 2);
  expect(lines(acknowledged, trace("DBG_ALL Set\r\n"), done));
  EXPECT_FALSE(tesk_dbg_pkt);
  EXPECT_FALSE(tesk_dbg_ctrl);
}

TEST_F(DebugRequest, ForAnythingElseIsInvalid) {
  for (const uint8_t type : std::initializer_list<uint8_t>{3, 255}) {
    asks(set_request, type);
    expect(lines(acknowledged, error(function, "Invalid Debug CLI Config\r\n"), done));
  }
}

TEST_F(DebugRequest, DoesNotLookAtItsEnableByte) {
  arrives_as(request(set_request, 2, {0, 0}));
  EXPECT_TRUE(tesk_dbg_pkt);
  ignore_rest();
}

TEST_F(DebugRequest, ThatCannotBeAcknowledgedIsServed) {
  when("qbus_reply").returns(-1);
  asks(set_request, 2);
  expect(
      lines(acknowledged, error(function, "Failed to send QBUS message\n"), trace("DBG_ALL Set\r\n"), done));
}

TEST_F(DebugRequest, OfTooLittleDataIsAcknowledgedAndDropped) {
  for (const uint32_t data_size : {0u, 1u}) {
    arrives_as(request(set_request, data_size, {0, 1}));
    expect(lines(acknowledged, error(function, "Invalid NCFG Msg\n")));
  }
  EXPECT_FALSE(tesk_dbg_pkt);
}

TEST_F(DebugRequest, CutAnywhereIsAcknowledgedAndAbandoned) {
  const Bytes whole = request(set_request, 2, {0, 1});
  for (uint32_t length = 0; length < whole.size(); ++length) {
    arrives_as(cut(whole, length));
    expect(lines(acknowledged, error_of(function, format(": debug request cut short: %u bytes\n", length))));
  }
  EXPECT_FALSE(tesk_dbg_pkt);
}

TEST_F(DebugRequest, WithoutABodyIsJudgedByItsHeaderFirst) {
  arrives_as(request(set_request, 1, {}));
  expect(lines(acknowledged, error(function, "Invalid NCFG Msg\n")));
}

TEST_F(DebugRequest, IsNotBelievedWhatItSaysOfItsLength) {
  for (const uint32_t claim : {3u, 0x7fffffffu, 0xffffffffu}) {
    arrives_as(request(set_request, claim, {2, 1}));
    expect(lines(acknowledged, trace("DBG_ALL Set\r\n"), done));
  }
}

TEST_F(DebugRequest, WithoutMemoryForItsCopyIsAcknowledgedAndAbandoned) {
  fail_allocation(1);
  asks(set_request, 0);
  expect_apart_from_control({error_of(function, ": no memory for a request of 114 bytes\n"),
                             "qbus_reply(30, message 0x20401, 112 zero bytes)"});
  EXPECT_FALSE(tesk_dbg_pkt);
}

/* ---- enable requests ---- */

TEST_F(DebugRequest, PrintsItsProofWhenPacketsArePrinted) {
  when("tracekit_chk_int").returns(1);
  asks(set_request, 1);
  expect(lines(acknowledged, trace("DBG_CTRL Set\n"), control_flag, done));
  EXPECT_EQ(prints().at(prints().size() - 2), "TRACEKIT Working!!!");
}

class EnableRequest : public DaemonTest {
 protected:
  EnableRequest() { tesk_qbus_q = queue_descriptor; }

  static void arrives_as(const Bytes &payload) {
    qbus_msg_ref_t message = hold({.opcode = QBUS_OPC_TESK_CFGENA, .payload = payload});
    tesk_qbus_cfgena_msg(&message);
  }

  static void asks(uint32_t cli_data, int32_t kind = set_request, uint32_t data_size = 4) {
    arrives_as(request(kind, data_size, Payload().u32(cli_data)));
  }

  static Line trace(const std::string &text) { return control(function, text); }

  static Line state(uint32_t asked, uint32_t enabled) {
    return trace(format("cli_ena[%u], tesk_ena[%u]\n", asked, enabled));
  }

  static constexpr const char *function = "tesk_qbus_cfgena_msg";
  const Lines acknowledged = {trace("tesk_qbus_cfgena Enter\n"),
                              "qbus_reply(30, message 0x20402, 112 zero bytes)"};
  const Line exists = error(function, "Config already Exists\n");
};

TEST_F(EnableRequest, SwitchesTheRelayOffAndOn) {
  asks(0);
  expect(lines(acknowledged, state(0, 1), trace("tesk_qbus_cfgena Exit[1]\n")));
  EXPECT_TRUE(tesk_l2switch_disable);
  asks(1);
  expect(lines(acknowledged, state(1, 0), trace("tesk_qbus_cfgena Exit[0]\n")));
  EXPECT_FALSE(tesk_l2switch_disable);
}

TEST_F(EnableRequest, ForTheStateThatHoldsIsAnError) {
  asks(1);
  expect(lines(acknowledged, state(1, 1), exists));
  tesk_l2switch_disable = true;
  asks(0);
  expect(lines(acknowledged, state(0, 0), exists));
  EXPECT_TRUE(tesk_l2switch_disable);
}

TEST_F(EnableRequest, ForAnyOtherStatePrintsItsComplaintAndChangesNothing) {
  for (const auto &[asked, disabled] : {std::pair(2u, 0u), std::pair(2u, 1u), std::pair(7u, 1u)}) {
    tesk_l2switch_disable = disabled;
    EXPECT_EQ(printed_at_once_by([asked = asked] { asks(asked); }), "Invalid Value");
    expect(lines(acknowledged, state(asked, 1 - disabled),
                 trace(format("tesk_qbus_cfgena Exit[%u]\n", disabled))));
    EXPECT_EQ(tesk_l2switch_disable, disabled);
  }
}

TEST_F(EnableRequest, ForTheLargestNumberIsTracedWithASign) {
  EXPECT_EQ(printed_at_once_by([] { asks(0xffffffff); }), "Invalid Value");
  expect(lines(acknowledged, trace("cli_ena[-1], tesk_ena[1]\n"), trace("tesk_qbus_cfgena Exit[0]\n")));
}

TEST_F(EnableRequest, OfAnotherLengthIsAppliedAfterAComplaint) {
  for (const int32_t kind : {set_request, delete_request}) {
    for (const uint32_t data_size : {0u, 3u, 5u, 8u}) {
      tesk_l2switch_disable = false;
      asks(0, kind, data_size);
      expect(lines(acknowledged, error(function, "Invalid NCFG Msg\n"), state(0, 1),
                   trace("tesk_qbus_cfgena Exit[1]\n")));
      EXPECT_TRUE(tesk_l2switch_disable);
    }
  }
}

TEST_F(EnableRequest, OfAnotherKindAndLengthIsAppliedWithoutAComplaint) {
  for (const int32_t kind : other_requests) {
    tesk_l2switch_disable = false;
    asks(0, kind, 8);
    expect(lines(acknowledged, state(0, 1), trace("tesk_qbus_cfgena Exit[1]\n")));
    EXPECT_TRUE(tesk_l2switch_disable);
  }
}

TEST_F(EnableRequest, ThatCannotBeAcknowledgedIsServed) {
  when("qbus_reply").returns(-1);
  asks(0);
  expect(lines(acknowledged, error(function, "Failed to send QBUS message\n"), state(0, 1),
               trace("tesk_qbus_cfgena Exit[1]\n")));
}

TEST_F(EnableRequest, WithoutABodyIsJudgedByItsHeaderFirst) {
  arrives_as(request(set_request, 8, {}));
  expect(lines(acknowledged, error(function, "Invalid NCFG Msg\n"),
               error_of(function, ": enable request cut short: 112 bytes\n")));
}

TEST_F(EnableRequest, CutAnywhereIsAcknowledgedAndAbandoned) {
  const Bytes whole = request(set_request, 4, Payload().u32(0));
  for (uint32_t length = 0; length < whole.size(); ++length) {
    arrives_as(cut(whole, length));
    expect(lines(acknowledged, error_of(function, format(": enable request cut short: %u bytes\n", length))));
  }
  EXPECT_FALSE(tesk_l2switch_disable);
}

/* ---- shell requests ---- */

class ShellRequest : public TablesTest {
 protected:
  static void arrives_as(const Command &command) {
    qbus_msg_ref_t message = hold(message_of_command(command));
    tesk_qbus_cush_tlv_msg(&message);
  }

  static Line trace(const std::string &text) { return control(function, text); }

  static constexpr const char *function = "tesk_qbus_cush_tlv_msg";
  const Lines refused = {trace("CUSH CMD Rx\n"), error(function, "Couldn't get cli_req_handle\n"),
                         "cmd_rsp_send_nok(null, 0, 'Can't get handle for cli request!!!')"};
};

TEST_F(ShellRequest, IsRoutedByItsCommandId) {
  const struct {
    uint32_t id;
    const char *first_trace;
    const char *from;
  } expected[] = {{1, "Enter\n", "tesk_cli_bkend_show_counters"},
                  {2, "Enter\n", "tesk_cli_bkend_show_cin"},
                  {3, "CINVLAN CFG CMD\n", "tesk_qbus_cush_tlv_msg"}};
  for (const auto &row : expected) {
    arrives_as({.id = row.id});
    EXPECT_EQ(count_of(trace("CUSH CMD Rx\n")), 1u);
    EXPECT_EQ(count_of(trace(format("CMD ID[%u]\n", row.id))), 1u);
    EXPECT_EQ(count_of(control(row.from, row.first_trace)), 1u) << row.id;
    forget();
  }
}

TEST_F(ShellRequest, OfTheCinVlanCommandSaysSoBeforeItIsRouted) {
  arrives_as({.id = 3});
  expect({trace("CUSH CMD Rx\n"), trace("CMD ID[3]\n"), trace("CINVLAN CFG CMD\n"),
          "cmd_rsp_send_nok(command 3, 0, 'attribute missing: vlan list')",
          error("tesk_cli_process_cin_cfg", "failed to get vlan range in req")});
}

TEST_F(ShellRequest, IsServedByOneCommandOnly) {
  for (const uint32_t id : {1u, 2u}) {
    arrives_as({.id = id});
    EXPECT_EQ(count_of("cmd_rsp_send()"), 1u) << id;
    EXPECT_EQ(count_of(trace("CINVLAN CFG CMD\n")), 0u) << id;
    forget();
  }
}

TEST_F(ShellRequest, OfAnyOtherCommandIsNotAnswered) {
  for (const uint32_t id : {0u, 4u, 0xffffu}) {
    arrives_as({.id = id});
    expect({trace("CUSH CMD Rx\n"), trace(format("CMD ID[%u]\n", id))});
  }
  arrives_as({.id = 0xffffffff});
  expect({trace("CUSH CMD Rx\n"), trace("CMD ID[-1]\n")});
}

TEST_F(ShellRequest, WithoutAHandleIsRefused) {
  when("cmd_req_handle_get_2").returns(0);
  arrives_as({.id = 1});
  expect(refused);
}

TEST_F(ShellRequest, IsRefusedOnceThoughTheShellTakesNoAnswer) {
  when("cmd_req_handle_get_2").returns(0);
  when("cmd_rsp_send_nok").returns(1);
  arrives_as({.id = 1});
  expect(refused);
}

TEST_F(ShellRequest, WithoutMemoryForItsHandleIsRefused) {
  fail_allocation(1);
  arrives_as({.id = 1});
  expect(refused);
}

// Read before any test runs: the switch as it is when the program starts.
const boolean disabled_at_start = tesk_l2switch_disable;

TEST(RelaySwitch, IsOnWhenTheProgramStarts) { EXPECT_FALSE(disabled_at_start); }

}  // namespace
