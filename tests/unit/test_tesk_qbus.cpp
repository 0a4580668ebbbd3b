/* The message queue: binding and registration, one message per readiness, dispatch, sending. */
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "tesk/tesk_cli.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_vlan.h"
#include "tests/unit/daemon_test.h"

namespace {

const char *const bind_line =
    "qbus_bind(1, 721, {version 1, flags 0, qlen 1024, uuid 738, node 0, buff_sum 15}, "
    "'Tesk Manager QBUS queue')";

std::string reason(int number) { return std::strerror(number); }

class Queue : public DaemonTest {};

TEST_F(Queue, IsBoundAndGetsItsTwelveOpcodesInOrder) {
  EXPECT_TRUE(tesk_init_qbus());
  EXPECT_EQ(tesk_qbus_q, queue_descriptor);
  expect({bind_line, control("tesk_init_qbus", " TESK QBUS Bind Success[30]\n"),
          "qbus_options_set(30, 0xf407, 0x11)", "qbus_options_set(30, 0x43c, 0x11)",
          "qbus_options_set(30, 0x20401, 0x11)", "qbus_options_set(30, 0x20402, 0x1)",
          "qbus_options_set(30, 0x1dff, 0x1)", "qbus_options_set(30, 0x11003, 0x1)",
          "qbus_options_set(30, 0x11004, 0x1)", "qbus_options_set(30, 0x5c22, 0x11)",
          "qbus_options_set(30, 0x1def, 0x1)", "qbus_options_set(30, 0x1101a, 0x11)",
          "qbus_options_set(30, 0x5c2d, 0x1)", "qbus_options_set(30, 0x5c2e, 0x1)"});
}

TEST_F(Queue, AbortsTheProcessWhenItCannotBeBound) {
  when("qbus_bind").returns(-1).with_errno(98);
  EXPECT_EQ(run([] { return static_cast<int>(tesk_init_qbus()); }), aborted());
  EXPECT_EQ(tesk_qbus_q, -1);
  expect({bind_line, error("tesk_init_qbus", "TESK QBUS Bind Fail98")});
  ASSERT_EQ(prints().size(), 1u) << "the reason reaches the console before the facility is up";
  EXPECT_TRUE(prints()[0].ends_with("TESK QBUS Bind Fail98"));
}

TEST_F(Queue, AbortsTheProcessEvenWhenNobodyTraces) {
  when("qbus_bind").returns(-1).with_errno(98);
  when("tracekit_hist_event_subtype_check").returns(1);
  when("tracekit_chk_int").returns(0);
  EXPECT_EQ(run([] { return static_cast<int>(tesk_init_qbus()); }), aborted());
  EXPECT_TRUE(prints().empty());
  expect({bind_line});
}

TEST_F(Queue, StopsRegisteringAtTheFirstRefusal) {
  when("qbus_options_set").call(3).returns(-1).with_errno(EINVAL);
  EXPECT_FALSE(tesk_init_qbus());
  expect_apart_from_control({bind_line, "qbus_options_set(30, 0xf407, 0x11)",
                             "qbus_options_set(30, 0x43c, 0x11)", "qbus_options_set(30, 0x20401, 0x11)",
                             error("ERROR: Could not register 2 132097, reason " + reason(EINVAL) + "\n")});
}

TEST_F(Queue, IsRefusedByMinusOneOnly) {
  when("qbus_bind").returns(0);
  when("qbus_options_set").returns(1);
  EXPECT_TRUE(tesk_init_qbus());
  EXPECT_EQ(tesk_qbus_q, 0);
  EXPECT_EQ(count_of(control("tesk_init_qbus", " TESK QBUS Bind Success[0]\n")), 1u);
  EXPECT_EQ(count_of("qbus_options_set(0, 0x5c2e, 0x1)"), 1u) << "the last one";
  ignore_rest();
}

TEST(DispatchTable, NamesTheHandlerOfEachOpcode) {
  const tesk_qbus_msg_attribute_t expected[] = {
      {62471, 0x11, tesk_handle_l2_protocol_state_changed_msg},
      {1084, 0x11, tesk_qbus_lc_online_msg},
      {132097, 0x11, tesk_qbus_cfgdbg_msg},
      {132098, 0x1, tesk_qbus_cfgena_msg},
      {7679, 0x1, tesk_qbus_cush_tlv_msg},
      {69635, 0x1, tesk_vlan_ltlsvc_alloc_ltl_resp},
      {69636, 0x1, tesk_vlan_ltlsvc_dealloc_ltl_resp},
      {23586, 0x11, tesk_vlan_vlan_mgr_deleted_handler},
      {7663, 0x1, tesk_rcgencb_cfg_gen},
      {69658, 0x11, tesk_ltlsvc_cbl_change},
      {23597, 0x1, tesk_vlan_feat_create},
      {23598, 0x1, tesk_vlan_feat_delete},
  };
  ASSERT_EQ(std::size(tesk_qbus_info_arr), std::size(expected));
  for (size_t row = 0; row < std::size(expected); ++row) {
    EXPECT_EQ(tesk_qbus_info_arr[row].opcode, expected[row].opcode) << "row " << row;
    EXPECT_EQ(tesk_qbus_info_arr[row].options, expected[row].options) << "row " << row;
    EXPECT_EQ(tesk_qbus_info_arr[row].handler, expected[row].handler) << "row " << row;
  }
}

TEST(QueueRecords, LieAsTheMessageServiceReadsThem) {
  EXPECT_EQ(offsetof(qbus_bind_options_t, version), 0u);
  EXPECT_EQ(offsetof(qbus_bind_options_t, flags), 4u);
  EXPECT_EQ(offsetof(qbus_bind_options_t, qlen), 8u);
  EXPECT_EQ(offsetof(qbus_bind_options_t, uuid), 12u);
  EXPECT_EQ(offsetof(qbus_bind_options_t, node), 16u);
  EXPECT_EQ(offsetof(qbus_bind_options_t, buff_sum), 20u);
  EXPECT_EQ(sizeof(qbus_bind_options_t), 24u);
  EXPECT_EQ(offsetof(qbus_addr_t, node), 0u);
  EXPECT_EQ(offsetof(qbus_addr_t, sap), 4u);
  EXPECT_EQ(sizeof(qbus_addr_t), 8u);
}

/** A daemon with one VLAN record that waits to be pushed to the kernel module. */
class Dispatch : public DaemonTest {
 protected:
  Dispatch() {
    bring_up_tables();
    tesk_vlan_hash_set_ltl(4095, 0x5);
    tesk_vlan_hash_set_cbl(4095, 0x4);
    forget();
  }

  const Line synchronised = "ioctl(31, add_or_update_vlans, {4095 ports 0x4})";
};

TEST_F(Dispatch, HandsAKnownMessageToItsHandlerAndSynchronisesAfterwards) {
  receive({.opcode = 0x5c2d});
  expect({"qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)", "tracekit_process_msg(30, message 0x5c2d)",
          control("tesk_qbus_msg_handler", "tesk_qbus_msg_handler Enter\n"),
          control("tesk_qbus_msg_handler", "opcode[23597] found index[10]\n"),
          control("tesk_qbus_msg_handler", "tesk_qbus_msg_handler Exit\n"), "qbus_drop(30, message 0x5c2d)",
          control("tesk_krnl_do_sync", "\n"), control("tesk_krnl_sync_vlan", "\n"),
          control("tesk_vlan_get_dirty_list", "\n"), control("tesk_krnl_add_or_update_vlans", "\n"),
          synchronised});
}

TEST_F(Dispatch, DropsAMessageOfAnUnknownOpcodeAndSynchronisesAllTheSame) {
  receive({.opcode = 0x1234});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x1234)",
                             "tracekit_process_msg(30, message 0x1234)",
                             error("tesk_qbus_msg_handler", "opcode[4660] not found\n"),
                             "qbus_drop(30, message 0x1234)", synchronised});
}

TEST_F(Dispatch, TracesNoMoreThanItsEntryForAnUnknownOpcode) {
  qbus_msg_ref_t message = hold({.opcode = 0x1234});
  tesk_qbus_msg_handler(queue_descriptor, &message);
  expect({control("tesk_qbus_msg_handler", "tesk_qbus_msg_handler Enter\n"),
          error("tesk_qbus_msg_handler", "opcode[4660] not found\n")});
}

TEST_F(Dispatch, TracesBeforeAndAfterTheHandler) {
  tesk_l2_init_done = true;
  qbus_msg_ref_t message = hold({.opcode = 0x43c});
  tesk_qbus_msg_handler(queue_descriptor, &message);
  expect({control("tesk_qbus_msg_handler", "tesk_qbus_msg_handler Enter\n"),
          control("tesk_qbus_msg_handler", "opcode[1084] found index[1]\n"),
          control("tesk_qbus_lc_online_msg", "QBUS_OPC_LC_ONLINE\n"),
          control("tesk_qbus_msg_handler", "tesk_qbus_msg_handler Exit\n")});
}

TEST_F(Dispatch, LeavesAMessageToTheSupervisorThatTookIt) {
  when("overseer_dispatch").returns(1);
  receive({.opcode = 0x5c2d});
  expect({"qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)"});
}

TEST_F(Dispatch, DropsTheSupervisorsMessageWithoutSynchronising) {
  when("overseer_dispatch").returns(0);
  receive({.opcode = 0x5c2d});
  expect({"qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)", "qbus_drop(30, message 0x5c2d)"});
}

/** Answers with which the program must not handle the message. No handler serves its opcode, so that an
 * attempt to dispatch it traces an error. */
class DispatchOfATakenMessage : public Dispatch, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Answers, DispatchOfATakenMessage, testing::Values(-2, 2));

TEST_P(DispatchOfATakenMessage, SkipsTheHandlerWhenTheSupervisorAnswersSomethingElse) {
  when("overseer_dispatch").returns(GetParam());
  receive({.opcode = 0x1234});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x1234)",
                             "qbus_drop(30, message 0x1234)", synchronised});
}

TEST_P(DispatchOfATakenMessage, SkipsTheHandlerWhenTheTraceFacilityAnswersSomethingElse) {
  when("tracekit_process_msg").returns(GetParam());
  receive({.opcode = 0x1234});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x1234)",
                             "tracekit_process_msg(30, message 0x1234)", "qbus_drop(30, message 0x1234)",
                             synchronised});
}

TEST_F(Dispatch, SkipsTheHandlerForTheTraceFacilitysMessage) {
  when("tracekit_process_msg").returns(0);
  receive({.opcode = 0x1234});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x1234)",
                             "tracekit_process_msg(30, message 0x1234)", "qbus_drop(30, message 0x1234)",
                             synchronised});
}

TEST_F(Dispatch, TracesAFailedReceiveAndGoesOn) {
  for (const int result : {-1, 1}) {
    when("qbus_recv").returns(result).with_errno(EIO);
    tesk_qbus_msg_process();
    expect({"qbus_recv(30, 0)",
            error("tesk_qbus_msg_process", "tesk_qbus_msg_process: qbus_recv() failed: errno(5)")});
  }
}

TEST_F(Dispatch, TakesOneMessageAtATime) {
  queue({.opcode = 0x5c2d});
  queue({.opcode = 0x5c2e});
  tesk_qbus_msg_process();
  EXPECT_EQ(count_of("qbus_recv(30, 0)"), 1u);
  EXPECT_EQ(count_of("qbus_drop(30, message 0x5c2d)"), 1u);
  tesk_qbus_msg_process();
  EXPECT_EQ(count_of("qbus_drop(30, message 0x5c2e)"), 1u);
  ignore_rest();
}

TEST_F(Dispatch, StartsTheRelayOnTheFirstLineCardOnlineAndNotAgain) {
  receive({.opcode = 0x43c});
  EXPECT_TRUE(tesk_l2_init_done);
  EXPECT_EQ(count_of("socket(17, 3, 0xf102)"), 2u);
  EXPECT_EQ(count_of(control("tesk_qbus_lc_online_msg", "QBUS_OPC_LC_ONLINE\n")), 1u);
  forget();

  receive({.opcode = 0x43c});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x43c)",
                             "tracekit_process_msg(30, message 0x43c)", "qbus_drop(30, message 0x43c)"});
}

TEST_F(Dispatch, OfLineCardOnlineLeavesARelayThatIsUpAlone) {
  tesk_l2_init_done = true;
  for (const bool disabled : {false, true}) {
    tesk_l2switch_disable = disabled;
    tesk_qbus_lc_online_msg(nullptr);
    expect({control("tesk_qbus_lc_online_msg", "QBUS_OPC_LC_ONLINE\n")});
  }
}

TEST_F(Dispatch, GoesOnWhenAMessageCannotBeDropped) {
  when("qbus_drop").returns(-1).with_errno(EINVAL);
  receive({.opcode = 0x5c2d});
  expect_apart_from_control({"qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)",
                             "tracekit_process_msg(30, message 0x5c2d)", "qbus_drop(30, message 0x5c2d)",
                             synchronised});
  when("overseer_dispatch").returns(0);
  receive({.opcode = 0x5c2d});
  expect({"qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)", "qbus_drop(30, message 0x5c2d)"});
}

TEST_F(Dispatch, TriesTheRelayAgainOnTheNextLineCardOnlineAfterAFailure) {
  when("socket").once().returns(-1).with_errno(EPERM);
  receive({.opcode = 0x43c});
  EXPECT_FALSE(tesk_l2_init_done);
  receive({.opcode = 0x43c});
  EXPECT_TRUE(tesk_l2_init_done);
  ignore_rest();
}

}  // namespace
