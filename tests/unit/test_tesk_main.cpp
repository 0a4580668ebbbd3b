/* Start-up, supervision and the loop. */
#include <sys/select.h>

#include <cerrno>
#include <cstddef>

#include "opal/board.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_main.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_vlan.h"
#include "tests/unit/daemon_test.h"
#include "tests/unit/frames.h"

namespace {

// Taken before any test runs.
const boolean relay_up_at_start = tesk_l2_init_done;

TEST(Process, BeginsWithoutARelay) { EXPECT_FALSE(relay_up_at_start); }

TEST(BoardIdentity, LiesAsTheBoardFillsIt) {
  EXPECT_EQ(offsetof(card_module_info_t, procType), 0u);
  EXPECT_EQ(offsetof(card_module_info_t, card_type), 1u);
  EXPECT_EQ(offsetof(card_module_info_t, swCardId), 2u);
  EXPECT_EQ(offsetof(card_module_info_t, mod_status), 4u);
  EXPECT_EQ(offsetof(card_module_info_t, switch_hw_arch), 5u);
}

/** A machine on which a start succeeds: the stores open, and one CIN VLAN is configured. */
class StartUp : public DaemonTest {
 protected:
  StartUp() {
    store(debug_store);
    store(startup_store).versions[1] = 1;
    store_cin_vlans(startup_store, {100});
  }

  /** Runs main and captures its output. */
  Ending start_and_listen() {
    Ending ending = waiting();
    output = printed_by([&] { ending = start(); });
    return ending;
  }

  std::string output;
};

TEST_F(StartUp, BringsThePartsUpInTheirOrderAndWaits) {
  EXPECT_EQ(start_and_listen(), waiting());
  EXPECT_EQ(output, "");
  EXPECT_FALSE(vorlund_platform);
  expect_apart_from_control({
      "get_card_module_info()",
      "qbus_bind(1, 721, {version 1, flags 0, qlen 1024, uuid 738, node 0, buff_sum 15}, "
      "'Tesk Manager QBUS queue')",
      "qbus_options_set(30, 0xf407, 0x11)",
      "qbus_options_set(30, 0x43c, 0x11)",
      "qbus_options_set(30, 0x20401, 0x11)",
      "qbus_options_set(30, 0x20402, 0x1)",
      "qbus_options_set(30, 0x1dff, 0x1)",
      "qbus_options_set(30, 0x11003, 0x1)",
      "qbus_options_set(30, 0x11004, 0x1)",
      "qbus_options_set(30, 0x5c22, 0x11)",
      "qbus_options_set(30, 0x1def, 0x1)",
      "qbus_options_set(30, 0x1101a, 0x11)",
      "qbus_options_set(30, 0x5c2d, 0x1)",
      "qbus_options_set(30, 0x5c2e, 0x1)",
      "cush_register_parse_tree(30, 'tesk')",
      "kvs_open('startup:tesk_startup_cfg')",
      "overseer_handshake(30, 738)",
      "overseer_conditional_srv_was_handshake_done()",
      "timer_module_init(10, 1000)",
      "timer_new(30, 1, callback, null)",
      "timer_start(9)",
      "overseer_heartbeat(1)",
      "overseer_notify_conditional_srv_start_status(0)",
      "kvs_open('running:debug_data')",
      error("tesk_kvs_init Debug KVS success!\n"),
      "kvs_version_get(1, 1)",
      "kvs_snapshot(1, 0, 'running:tesk_cfg')",
      "kvs_open('running:tesk_cfg')",
      "kvs_close(1)",
      error("tesk_init_cli", "Calling cmd_backend_init()"),
      "cmd_backend_init(30)",
      "rcgen_srv_init(30, {tracekit_dbg_elem 0})",
      "tracekit_dbg_init(30, 'tesk', 'Tesk and CIN Manager', 3, {'TESK Manager Packet Events', "
      "'TESK Manager Control Events', 'TESK Manager Error Events'}, 1, 2, {0, size 4})",
      "tracekit_sys_init_helper(30, 'tesk', 'Tesk and CIN Manager', 4408, 1, 2, {1, size 4})",
      "tracekit_hist_init(0x10000)",
      "tracekit_hist_init_for_uuid(115, 0x10000)",
      "opal_openlog('tesk', 10, 4408)",
      "tracekit_dbg_enable(101)",
      "tracekit_dbg_enable(100)",
      "tracekit_dbg_enable(102)",
      packet("", "TRACEKIT PKT_TR SUCCESS!!!"),
      error("", "TRACEKIT ERR_TR SUCCESS!!!"),
      "tracekit_dbg_disable(101)",
      "tracekit_dbg_disable(100)",
      "system('/opal/bin/instteskklm start')",
      "open('/dev/klm_tesk', O_RDONLY)",
      "portsvc_ext_sbcr_init(0, 0, 'Tesk')",
      "ioctl(31, add_or_update_ports, {0x5000000 type 5 asic 0 []})",
      "ioctl(31, add_or_update_vlans, {4095 ports 0x0})",
      "kvs_move2location(3, 1)",
      "kvs_move2location(3, 3)",
      "ioctl(31, add_or_update_vlans, {100 ports 0x0})",
      "fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2d, 'set feature 4 in 100', 0, 0)",
      "qbus_drop(30, request 1000)",
      "kinb_libinit()",
      "capreg_notify_feature_status(30, 'tesk', 1, 0)",
      "select(31, read {30})",
  });
}

TEST_F(StartUp, KnowsTheVorlundBoard) {
  on_board(83);
  EXPECT_EQ(start(), waiting());
  EXPECT_TRUE(vorlund_platform);
  EXPECT_EQ(count_of("ioctl(31, add_or_update_ports, {0x5000001 type 5 asic 0 []})"), 1u);
  ignore_rest();
}

TEST_F(StartUp, ForgetsTheVorlundBoardOnAnother) {
  vorlund_platform = true;
  EXPECT_EQ(start(), waiting());
  EXPECT_FALSE(vorlund_platform);
  ignore_rest();
}

class StartUpOnAnUnknownBoard : public StartUp, public testing::WithParamInterface<uint16_t> {};

TEST_P(StartUpOnAnUnknownBoard, EndsWithStatusZeroWithoutAWord) {
  on_board(GetParam());
  EXPECT_EQ(start_and_listen(), exited(0));
  EXPECT_EQ(output, "");
  expect({"get_card_module_info()"});
}

INSTANTIATE_TEST_SUITE_P(CardIds, StartUpOnAnUnknownBoard, testing::Values(0, 81, 84, 338, 65535));

TEST_F(StartUp, EndsWithStatusZeroWhenTheBoardCannotBeIdentified) {
  when("get_card_module_info").returns(-7);
  EXPECT_EQ(start_and_listen(), exited(0));
  EXPECT_EQ(output, "get_card_module_info error -7\n");
  expect({"get_card_module_info()"});
}

TEST_F(StartUp, AbortsWithoutAQueue) {
  when("qbus_bind").returns(-1).with_errno(EADDRINUSE);
  EXPECT_EQ(start(), aborted());
  EXPECT_EQ(count_of("cush_register_parse_tree(30, 'tesk')"), 0u);
  EXPECT_EQ(count_of(error("TESK QBUS Bind Fail" + std::to_string(EADDRINUSE))), 1u);
  ignore_rest();
}

TEST_F(StartUp, ReturnsZeroWhenAnOpcodeIsRefused) {
  when("qbus_options_set").call(12).returns(-1).with_errno(EINVAL);
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "");
  EXPECT_EQ(count_of("cush_register_parse_tree(30, 'tesk')"), 0u);
  ignore_rest();
}

TEST_F(StartUp, EndsWithStatusZeroWhenTheCommandTreeIsRefused) {
  when("cush_register_parse_tree").returns(5);
  EXPECT_EQ(start_and_listen(), exited(0));
  EXPECT_EQ(output, "Failed to register CLI");
  EXPECT_EQ(count_of("kvs_open('startup:tesk_startup_cfg')"), 0u);
  ignore_rest();
}

TEST_F(StartUp, GoesOnWithoutAStartupStore) {
  when("kvs_open").once().returns(0).gives(7);
  EXPECT_EQ(start(), waiting());
  EXPECT_EQ(count_of("kvs_create('running:tesk_cfg')"), 1u);
  EXPECT_EQ(count_of("kvs_close(1)"), 0u);
  ignore_rest();
}

TEST_F(StartUp, ReturnsZeroWithoutAHeartbeatTimer) {
  when("timer_new").returns(0);
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "");
  expect_end({"timer_new(30, 1, callback, null)",
              error("tesk_init_overseer", " Error timer_new() failed in tesk_init_overseer\n")});
}

TEST_F(StartUp, GoesOnWhenTheStoresFail) {
  when("kvs_open").returns(0).gives(7);
  when("kvs_create").returns(0).gives(7);
  EXPECT_EQ(start(), waiting());
  EXPECT_EQ(tesk_kvs_cfg, 0u);
  ignore_rest();
}

TEST_F(StartUp, EndsWithTheCommandBackEndsStatus) {
  when("cmd_backend_init").returns(77);
  EXPECT_EQ(start_and_listen(), exited(77));
  EXPECT_EQ(output, "");
  expect_end({"cmd_backend_init(30)", error("tesk_init_cli", "Failed to init cmd_backend_init()")});
}

TEST_F(StartUp, IgnoresARefusalOfTheRunningConfigurationService) {
  when("rcgen_srv_init").returns(5);
  EXPECT_EQ(start(), waiting());
  ignore_rest();
}

TEST_F(StartUp, ReturnsZeroWhenTheTraceFacilityIsRefused) {
  when("tracekit_dbg_init").returns(5);
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "tracekit_dbg_init failed\n");
  EXPECT_EQ(count_of("system('/opal/bin/instteskklm start')"), 0u);
  ignore_rest();
}

TEST_F(StartUp, ReturnsZeroWhenSyslogIsRefused) {
  when("tracekit_sys_init_helper").returns(5);
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "tracekit_sys_init Failed");
  EXPECT_EQ(count_of("system('/opal/bin/instteskklm start')"), 0u);
  ignore_rest();
}

TEST_F(StartUp, GoesOnWhenTheKernelModuleDoesNotLoad) {
  when("system").returns(256);
  tesk_qbus_q = queue_descriptor;
  tesk_init();
  expect_apart_from_control({"system('/opal/bin/instteskklm start')",
                             error("tesk_init", "Tesk KLM Initialization Failed\n"),
                             "open('/dev/klm_tesk', O_RDONLY)", "portsvc_ext_sbcr_init(0, 0, 'Tesk')",
                             "ioctl(31, add_or_update_ports, {0x5000000 type 5 asic 0 []})",
                             "ioctl(31, add_or_update_vlans, {4095 ports 0x0})", "kvs_move2location(0, 1)",
                             error("tesk_kvs_cin_vlan_config_get",
                                   "tesk_kvs_cin_vlan_config_get: No CIN VLAN configuration found in KVS\n"),
                             "kinb_libinit()"});
}

TEST_F(StartUp, EndsWithStatusOneWithoutTheKernelModulesDevice) {
  when("open").returns(-1).with_errno(ENOENT);
  EXPECT_EQ(start_and_listen(), exited(1));
  EXPECT_EQ(output, "");
  expect_end({"open('/dev/klm_tesk', O_RDONLY)",
              error("tesk_krnl_adapter_init", "Failed to open /dev/klm_tesk, err:2\n"),
              error("tesk_init", "Kernel Adapter Init Failed\n")});
}

TEST_F(StartUp, EndsWithStatusOneWithoutTheInterfaceManager) {
  when("portsvc_ext_sbcr_init").returns(3);
  EXPECT_EQ(start(), exited(1));
  expect_end({"portsvc_ext_sbcr_init(0, 0, 'Tesk')", error("tesk_init", "portsvc_ext_sbcr_init Failed\n")});
}

TEST_F(StartUp, EndsWithStatusOneWhenThePortLayerFails) {
  when("if_index_mgmt_sup_port_init").returns(3);
  EXPECT_EQ(start(), exited(1));
  expect_end({"portsvc_ext_sbcr_init(0, 0, 'Tesk')",
              error("tesk_init_ports", "tesk_init_ports: Failed to derive if_index for Management Port(0)\n"),
              error("tesk_init", "tesk_init:tesk_init_ports Failed\n")});
}

TEST_F(StartUp, EndsWithStatusOneWhenTheVlanTableFails) {
  fail_allocation(5);  // the SoL VLAN's entry, after the four of the trace facility
  EXPECT_EQ(start(), exited(1));
  expect_end({error("tesk_init_vlan", "tesk_init_vlan: Failed to add SoL VLAN(4095) to VLAN Hash Tbl\n"),
              error("tesk_init", "tesk_init:tesk_init_vlan Failed\n")});
}

TEST_F(StartUp, EndsWithStatusOneWhenTheMacTableFails) {
  when("tesk_init_fib").returns(0);
  EXPECT_EQ(start(), exited(1));
  expect_end({"kinb_libinit()", error("tesk_init", "tesk_init:tesk_fib_init Failed\n")});
}

TEST_F(StartUp, SaysSoWhenTheFeatureRegistryRefusesAndGoesOn) {
  when("capreg_notify_feature_status").returns(5);
  EXPECT_EQ(printed_at_once_by([] { EXPECT_EQ(start(), waiting()); }),
            "TESK could not notify feature_manager");
  ignore_rest();
}

/** A failure is any result but 0. */
class StartUpRefused : public StartUp, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(OfEitherSign, StartUpRefused, testing::Values(-1, 1));

TEST_P(StartUpRefused, ByTheBoardEnds) {
  when("get_card_module_info").returns(GetParam());
  EXPECT_EQ(start_and_listen(), exited(0));
  EXPECT_EQ(output, "get_card_module_info error " + std::to_string(GetParam()) + "\n");
  expect({"get_card_module_info()"});
}

TEST_P(StartUpRefused, ByTheCommandTreeEnds) {
  when("cush_register_parse_tree").returns(GetParam());
  EXPECT_EQ(start_and_listen(), exited(0));
  EXPECT_EQ(output, "Failed to register CLI");
  expect_end({"cush_register_parse_tree(30, 'tesk')"});
}

TEST_P(StartUpRefused, ByTheCommandBackEndEndsWithItsStatus) {
  when("cmd_backend_init").returns(GetParam());
  EXPECT_EQ(start(), exited(GetParam()));
  expect_end({"cmd_backend_init(30)", error("tesk_init_cli", "Failed to init cmd_backend_init()")});
}

TEST_P(StartUpRefused, ByTheTraceFacilityReturns) {
  when("tracekit_dbg_init").returns(GetParam());
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "tracekit_dbg_init failed\n");
  ignore_rest();
}

TEST_P(StartUpRefused, BySyslogReturns) {
  when("tracekit_sys_init_helper").returns(GetParam());
  EXPECT_EQ(start_and_listen(), returned(0));
  EXPECT_EQ(output, "tracekit_sys_init Failed");
  ignore_rest();
}

TEST_P(StartUpRefused, ByTheKernelModulesScriptGoesOn) {
  when("system").returns(GetParam());
  EXPECT_EQ(start(), waiting());
  EXPECT_EQ(count_of(error("tesk_init", "Tesk KLM Initialization Failed\n")), 1u);
  ignore_rest();
}

TEST_P(StartUpRefused, ByTheInterfaceManagerEnds) {
  when("portsvc_ext_sbcr_init").returns(GetParam());
  EXPECT_EQ(start(), exited(1));
  expect_end({"portsvc_ext_sbcr_init(0, 0, 'Tesk')", error("tesk_init", "portsvc_ext_sbcr_init Failed\n")});
}

TEST_P(StartUpRefused, ByTheFeatureRegistryGoesOn) {
  when("capreg_notify_feature_status").returns(GetParam());
  EXPECT_EQ(start_and_listen(), waiting());
  EXPECT_EQ(output, "TESK could not notify feature_manager");
  ignore_rest();
}

class Supervisor : public DaemonTest {
 protected:
  Supervisor() { tesk_qbus_q = queue_descriptor; }

  /** The calls of a successful start, with the special calls of its handshake. */
  static Lines started(const Lines &special = {}) {
    Lines lines = {"overseer_handshake(30, 738)",
                   control("tesk_init_overseer", "overseer_handshake uuid[738] status[0]\n"),
                   "overseer_conditional_srv_was_handshake_done()"};
    const Lines timer = {control("tesk_init_overseer", "Tesk Timer Init\n"),
                         "timer_module_init(10, 1000)",
                         "timer_new(30, 1, callback, null)",
                         "timer_start(9)",
                         "overseer_heartbeat(1)",
                         "overseer_notify_conditional_srv_start_status(0)",
                         control("tesk_init_overseer", "Srv_start_status() returned SUCCESS\n")};
    lines.insert(lines.end(), special.begin(), special.end());
    lines.insert(lines.end(), timer.begin(), timer.end());
    return lines;
  }
};

TEST_F(Supervisor, GetsHandshakeTimerAndFirstHeartbeatInOrder) {
  EXPECT_TRUE(tesk_init_overseer());
  expect(started());
}

TEST_F(Supervisor, MayRefuseTheHandshakeWithoutStoppingStartUp) {
  when("overseer_handshake").returns(17);
  EXPECT_TRUE(tesk_init_overseer());
  EXPECT_EQ(count_of(control("overseer_handshake uuid[738] status[17]\n")), 1u);
  ignore_rest();
}

TEST_F(Supervisor, IsAskedForConditionsOnlyWhenTheConditionalHandshakeIsNotDone) {
  when("overseer_conditional_srv_was_handshake_done").returns(0);
  EXPECT_TRUE(tesk_init_overseer());
  EXPECT_EQ(count_of("overseer_condition_verified(0, 0)"), 1u);
  EXPECT_EQ(count_of(error("overseer_handshake cond status Err\n")), 0u);
  ignore_rest();
}

TEST_F(Supervisor, IsNotAskedForConditionsAfterAConditionalHandshakeOfAnyAnswerButZero) {
  when("overseer_conditional_srv_was_handshake_done").returns(-1);
  EXPECT_TRUE(tesk_init_overseer());
  expect(started());
}

TEST_F(Supervisor, MayReportAViolatedConditionWithoutStoppingStartUp) {
  when("overseer_conditional_srv_was_handshake_done").returns(0);
  for (const int violated : {1, -1}) {
    when("overseer_condition_verified").returns(violated);
    EXPECT_TRUE(tesk_init_overseer());
    expect(started({"overseer_condition_verified(0, 0)",
                    error("tesk_init_overseer", "overseer_handshake cond status Err\n")}));
  }
}

TEST_F(Supervisor, MayRefuseTheStartStatusWithoutStoppingStartUp) {
  for (const int status : {-3, 3}) {
    when("overseer_notify_conditional_srv_start_status").returns(status);
    EXPECT_TRUE(tesk_init_overseer());
    expect_end({"overseer_notify_conditional_srv_start_status(0)",
                error("tesk_init_overseer",
                      "Srv_start_status() returned error code: " + std::to_string(status) + "\n")});
  }
}

TEST_F(Supervisor, MayRefuseTimerAndHeartbeatsWithoutStoppingStartUp) {
  when("timer_module_init").returns(5);
  when("timer_start").returns(5);
  when("overseer_heartbeat").returns(5);
  EXPECT_TRUE(tesk_init_overseer());
  expect(started());
  timer_expires();
  timer_expires();
  expect({"overseer_heartbeat(0)"});
}

TEST_F(Supervisor, GetsAPeriodOfZeroForATimeoutUnderASecond) {
  when("overseer_heartbeat_timeout_get").returns(999);
  EXPECT_TRUE(tesk_init_overseer());
  EXPECT_EQ(count_of("timer_new(0, 1, callback, null)"), 1u);
  ignore_rest();
}

TEST_F(Supervisor, GetsThePeriodInWholeSeconds) {
  when("overseer_heartbeat_timeout_get").returns(2999);
  EXPECT_TRUE(tesk_init_overseer());
  EXPECT_EQ(count_of("timer_new(2, 1, callback, null)"), 1u);
  ignore_rest();
}

TEST_F(Supervisor, GetsExactlyOneMoreHeartbeatFromTheTimer) {
  EXPECT_TRUE(tesk_init_overseer());
  forget();
  timer_expires();
  EXPECT_TRUE(tesk_overseer_hbt_sent);
  expect({"overseer_heartbeat(0)"});
  timer_expires();
  timer_expires();
  expect({});
}

/** The loop with an open queue; the relay's sockets are open but the relay is not initialised. */
class Loop : public DaemonTest {
 protected:
  Loop() {
    bring_up_tables();
    sock_inband = first_socket;
    sock_mgmt = second_socket;
  }

  static Ending loop() {
    return run([]() -> int { tesk_processing_loop(); });
  }
};

TEST_F(Loop, WatchesOnlyTheQueueBeforeTheLineCardIsOnline) {
  EXPECT_EQ(loop(), waiting());
  expect({"select(31, read {30})"});
}

TEST_F(Loop, WatchesTheSocketsOnceTheRelayIsUp) {
  tesk_l2_init_done = true;
  EXPECT_EQ(loop(), waiting());
  expect({"select(43, read {30 41 42})"});
}

TEST_F(Loop, WaitsUpToTheHighestDescriptorWhicheverThatIs) {
  tesk_l2_init_done = true;
  sock_inband = second_socket;
  sock_mgmt = first_socket;
  EXPECT_EQ(loop(), waiting());
  expect({"select(43, read {30 41 42})"});
  sock_inband = 7;
  sock_mgmt = 8;
  EXPECT_EQ(loop(), waiting());
  expect({"select(31, read {7 8 30})"});
}

TEST_F(Loop, LeavesFramesInTheSocketsWhileTheRelayIsDisabled) {
  tesk_l2_init_done = true;
  tesk_l2switch_disable = true;
  arrives(sock_inband, from_asic(3, tagged_frame(amm_mac, blade_mac, 4095)));
  EXPECT_EQ(loop(), waiting());
  EXPECT_EQ(waiting_frames(sock_inband), 1u);
  expect({"select(31, read {30})"});
}

TEST_F(Loop, LeavesADescriptorOutThatNoSetHoldsAndSaysSoOnce) {
  tesk_l2_init_done = true;
  sock_inband = -1;
  sock_mgmt = FD_SETSIZE;
  wakes({});
  EXPECT_EQ(loop(), waiting());
  expect({error("refuse_descriptor", "Descriptor 1024 is not served, only 0 to 1023 can be\n"),
          "select(31, read {30})", "select(31, read {30})"});
}

TEST_F(Loop, SaysWhichDescriptorItCannotServe) {
  tesk_l2_init_done = true;
  sock_inband = -1;
  EXPECT_EQ(loop(), waiting());
  expect({error("refuse_descriptor", "Descriptor -1 is not served, only 0 to 1023 can be\n"),
          "select(43, read {30 42})"});
}

TEST_F(Loop, ServesTheHighestDescriptorThatASetHolds) {
  tesk_l2_init_done = true;
  sock_mgmt = FD_SETSIZE - 1;
  EXPECT_EQ(loop(), waiting());
  expect({"select(1024, read {30 41 1023})"});
}

TEST_F(Loop, StartsTheNextPassAfterAnInterruptedWait) {
  tesk_l2_init_done = true;
  wake_fails(EINTR);
  EXPECT_EQ(loop(), waiting());
  expect({"select(43, read {30 41 42})", "select(43, read {30 41 42})"});
}

TEST_F(Loop, ServesQueueThenInbandThenManagement) {
  tesk_l2_init_done = true;
  queue({.opcode = 0x5c2d});
  wakes({queue_descriptor, first_socket, second_socket});
  EXPECT_EQ(loop(), waiting());
  expect_apart_from_control({"select(43, read {30 41 42})", "qbus_recv(30, 0)",
                             "overseer_dispatch(message 0x5c2d)", "tracekit_process_msg(30, message 0x5c2d)",
                             "qbus_drop(30, message 0x5c2d)", "read(41, 2584)", "read(42, 2574)",
                             "select(43, read {30 41 42})"});
}

TEST_F(Loop, ServesOnlyWhatIsReady) {
  tesk_l2_init_done = true;
  wakes({second_socket});
  EXPECT_EQ(loop(), waiting());
  expect({"select(43, read {30 41 42})", "read(42, 2574)", "select(43, read {30 41 42})"});
}

TEST_F(Loop, ServesTheSocketsOfAPassWhoseMessageDisablesTheRelay) {
  tesk_l2_init_done = true;
  const int32_t set_request = 3;
  queue({.opcode = 0x20402, .payload = Payload().raw(set_request).u32(4).zeros(104).u32(0)});
  wakes({queue_descriptor, first_socket, second_socket});
  EXPECT_EQ(loop(), waiting());
  EXPECT_TRUE(tesk_l2switch_disable);
  expect_apart_from_control(
      {"select(43, read {30 41 42})", "qbus_recv(30, 0)", "overseer_dispatch(message 0x20402)",
       "tracekit_process_msg(30, message 0x20402)", "qbus_reply(30, message 0x20402, 112 zero bytes)",
       "qbus_drop(30, message 0x20402)", "read(41, 2584)", "read(42, 2574)", "select(31, read {30})"});
}

TEST_F(Loop, TakesOneMessageForEachWakeUp) {
  queue({.opcode = 0x5c2d});
  queue({.opcode = 0x5c2e});
  wakes({queue_descriptor});
  wakes({queue_descriptor});
  EXPECT_EQ(loop(), waiting());
  expect_apart_from_control({"select(31, read {30})", "qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2d)",
                             "tracekit_process_msg(30, message 0x5c2d)", "qbus_drop(30, message 0x5c2d)",
                             "select(31, read {30})", "qbus_recv(30, 0)", "overseer_dispatch(message 0x5c2e)",
                             "tracekit_process_msg(30, message 0x5c2e)", "qbus_drop(30, message 0x5c2e)",
                             "select(31, read {30})"});
}

TEST_F(Loop, WatchesTheSocketsFromThePassAfterLineCardOnline) {
  queue({.opcode = 0x43c});
  wakes({queue_descriptor});
  EXPECT_EQ(loop(), waiting());
  EXPECT_EQ(count_of("select(31, read {30})"), 1u);
  EXPECT_EQ(count_of("select(43, read {30 41 42})"), 1u);
  ignore_rest();
}

}  // namespace
