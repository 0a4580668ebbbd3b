#include "tests/standin/failures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "opal/rcode.h"
#include "tests/standin/script.h"

namespace standin {

namespace {

constexpr int64_t null = 0;

/** Output that stands for no payload. */
constexpr int64_t no_payload = -1;

constexpr Failure all_failures[] = {
    // message service
    {"qbus_bind", -1, EADDRINUSE, {}},
    {"qbus_options_set", -1, ENOSPC, {}},
    {"qbus_recv", -1, EIO, {}},
    {"qbus_drop", -1, EINVAL, {}},
    {"qbus_reply", -1, ECONNREFUSED, {}},
    {"qbus_payload_size_get", 0, 0, {}},
    {"fu_qbus_send", -1, ECONNREFUSED, {}},
    // supervisor and timer; the program does not know an answer of 2
    {"overseer_handshake", 1, 0, {}},
    {"overseer_conditional_srv_was_handshake_done", 0, 0, {}},
    {"overseer_condition_verified", 1, 0, {}},
    {"overseer_heartbeat", 1, 0, {}},
    {"overseer_notify_conditional_srv_start_status", 1, 0, {}},
    {"overseer_dispatch", 2, 0, {}},
    {"overseer_running_cfg_uri_get", null, 0, {}},
    {"overseer_startup_cfg_uri_get", null, 0, {}},
    {"overseer_cfg_action_done", 1, 0, {}},
    {"timer_module_init", 1, 0, {}},
    {"timer_new", null, 0, {}},
    {"timer_start", 1, 0, {}},
    // trace facility
    {"tracekit_dbg_init", 1, 0, {}},
    {"tracekit_sys_init_helper", 1, 0, {}},
    {"tracekit_hist_init", 1, 0, {}},
    {"tracekit_hist_init_for_uuid", 1, 0, {}},
    // stores
    {"kvs_open", null, 0, RCODE_CORRUPT},
    {"kvs_create", null, 0, RCODE_IO},
    {"kvs_close", RCODE_IO, 0, {}},
    {"kvs_max_key", RCODE_IO, 0, {}},
    {"kvs_max_value", RCODE_IO, 0, {}},
    {"kvs_version_set", RCODE_IO, 0, {}},
    {"kvs_version_get", RCODE_CORRUPT, 0, {}},
    {"kvs_snapshot", RCODE_IO, 0, {}},
    {"kvs_fetch", null, 0, RCODE_IO},
    {"kvs_store", RCODE_IO, 0, {}},
    {"kvs_delete", RCODE_IO, 0, {}},
    {"kvs_move2location", null, 0, RCODE_IO},
    // ports, VLANs and the in-band driver
    {"get_card_module_info", 1, 0, {}},
    {"capreg_notify_feature_status", 1, 0, {}},
    {"if_index_get_type", RCODE_INVALID, 0, {}},
    {"if_index_get_port", RCODE_INVALID, 0, {}},
    {"if_index_port_channel_get_channel_num", RCODE_INVALID, 0, {}},
    {"if_index_phy_ethernet_init", RCODE_INVALID, 0, {}},
    {"if_index_mgmt_sup_port_init", RCODE_INVALID, 0, {}},
    {"if_index_get_num_ports_in_if_index_range", 0, 0, {}},
    {"if_index_get_if_index_in_range", RCODE_INVALID, 0, {}},
    {"chanagg_get_pc_info", RCODE_TIMED_OUT, 0, {}},
    {"portsvc_ext_sbcr_init", 1, 0, {}},
    {"portsvc_parse_l2_protocol_state_change", RCODE_CORRUPT, 0, {}},
    {"portsvc_is_ifindex_present", 0, 0, {}},
    {"ltlsvc_lib_ifidx_to_di", RCODE_TIMED_OUT, 0, {}},
    {"ltlsvc_send_ltl_alloc", ECONNREFUSED, 0, {}},
    {"ltlsvc_send_ltl_dealloc", ECONNREFUSED, 0, {}},
    {"kinb_libinit", 1, 0, {}},
    {"kinb_tesk_vlan_add", 1, 0, {}},
    {"kinb_tesk_vlan_del", 1, 0, {}},
    {"vlan_mgr_parse_notification_msg_local", RCODE_CORRUPT, 0, {}},
    {"vlan_mgr_check_feat", 0, 0, {}},
    {"vlan_feat_create_build_qbus_local", ENOMEM, 0, no_payload},
    {"vlan_feat_delete_build_qbus_local", ENOMEM, 0, no_payload},
    // shell and running configuration
    {"cush_register_parse_tree", 1, 0, {}},
    {"cmd_backend_init", 1, 0, {}},
    {"cmd_req_handle_get_2", null, 0, {}},
    {"cmd_req_attr_get", 1, 0, {}},
    {"cmd_req_cmdId_getnext", 0, 0, {}},
    {"cmd_rsp_init", null, 0, {}},
    {"cmd_rsp_attr_add", 1, 0, {}},
    {"cmd_rsp_send", 1, 0, {}},
    {"cmd_rsp_send_ok", 1, 0, {}},
    {"cmd_rsp_send_nok", 1, 0, {}},
    {"cmd_rsp_error_set", 1, 0, {}},
    {"cmd_mrange_create", null, 0, {}},
    {"cmd_mrange_range_add", 1, 0, {}},
    {"rcgen_srv_init", 1, 0, {}},
    {"rcgen_req_vlan_list_get", RCODE_CORRUPT, 0, {}},
    {"rcgen_elem_add", 1, 0, {}},
    {"rcgen_elem_property_set", 1, 0, {}},
    {"rcgen_elem_dependency_add", 1, 0, {}},
    {"rcgen_elem_vlan_key_str_add_indent", 1, 0, {}},
    {"rcgen_set_response_status", 1, 0, {}},
    {"rcgen_respond", 1, 0, {}},
    // system calls
    {"socket", -1, EPERM, {}},
    {"bind", -1, ENODEV, {}},
    {"fcntl", -1, EBADF, {}},
    {"ioctl", -1, EIO, {}},
    {"open", -1, ENOENT, {}},
    {"read", -1, EIO, {}},
    {"write", -1, ENOBUFS, {}},
    {"close", -1, EIO, {}},
    {"select", -1, EINTR, {}},
    {"system", 256, 0, {}},
};

/** Operations that only read, that switch something in the program's own library, or that belong to the
 * daemon. */
constexpr std::string_view without_failure[] = {
    "bitset_clear",
    "bitset_clear_bit",
    "bitset_copy",
    "bitset_first_bit",
    "bitset_is_bit_set",
    "bitset_is_range_free",
    "bitset_next_bit",
    "bitset_set_bit",
    "bitset_snprintf",
    "cmd_req_action_is_del",
    "cmd_req_handle_get_1",
    "overseer_file_prefix_get",
    "qbus_is_response",
    "qbus_opc_get",
    "qbus_payload_get",
    "qbus_rr_token_get",
    "rcgen_cfg_display_type_get",
    "rcgen_cfg_type_get",
    "rcgen_startup_cfg_uri_prefix_get",
    "rcode2str",
    "snprintf_if_index",
    "tesk_build_vlan_mrange",
    "tesk_delete_port_context",
    "tesk_fib_purge_port_entries",
    "tesk_ifindex_hash_delete",
    "tesk_init_fib",
    "tesk_krnl_add_or_update_port",
    "tesk_port_get_dirty_list",
    "tesk_port_hsh_tbl_get_stat",
    "tesk_port_vlan_delete",
    "tesk_set_failed_mrange",
    "tesk_vlan_get_dirty_list",
    "tesk_vlan_hash_delete",
    "tesk_vlan_hash_set_cbl",
    "tesk_vlan_hash_set_ltl",
    "qbus_errno_get",
    "get_platform_runtime_index",
    "overseer_heartbeat_timeout_get",
    "opal_openlog",
    "tracekit_chk_int",
    "tracekit_dbg_disable",
    "tracekit_dbg_enable",
    "tracekit_get_max_kvsvalue",
    "tracekit_hist_event_subtype_check",
    "tracekit_process_msg",
};

struct Countdown {
  unsigned left = 0;
  std::string_view only; /**< the operation that counts; any when empty */
  std::string failed;
  Script script;
};

Countdown the_countdown;

void prepare(Script &script, const Failure &failure) {
  script.returns(failure.result).with_errno(failure.error_number);
  if (failure.output) script.gives(*failure.output);
}

}  // namespace

bool Failure::is(int64_t returned) const {
  if (result == 0) return returned == 0;
  return result == -1 ? returned < 0 : returned != 0;
}

std::span<const Failure> failures() { return all_failures; }

const Failure *failure_of(std::string_view operation) {
  const auto *found = std::ranges::find(all_failures, operation, &Failure::operation);
  return found == std::end(all_failures) ? nullptr : found;
}

Script &script_failure(std::string_view operation) {
  const Failure *failure = failure_of(operation);
  if (failure == nullptr) {
    std::fprintf(stderr, "%.*s has no failure; those that have one are in tests/standin/failures.cpp\n",
                 static_cast<int>(operation.size()), operation.data());
    std::_Exit(1);
  }
  Script &script = when(std::string(operation));
  prepare(script, *failure);
  return script;
}

void fail_call(unsigned number) { the_countdown = {number, "", "", {}}; }

void fail_next(std::string_view operation) { the_countdown = {1, operation, "", {}}; }

const std::string &failed_operation() { return the_countdown.failed; }

Script *failing(std::string_view operation) {
  if (the_countdown.left == 0) return nullptr;
  if (!the_countdown.only.empty() && operation != the_countdown.only) return nullptr;
  const Failure *failure = failure_of(operation);
  if (failure == nullptr) {
    if (std::ranges::count(without_failure, operation) == 0)
      ADD_FAILURE() << operation << " is missing in the tables of tests/standin/failures.cpp";
    return nullptr;
  }
  if (--the_countdown.left != 0) return nullptr;
  the_countdown.failed = operation;
  prepare(the_countdown.script, *failure);
  return &the_countdown.script;
}

void reset_failures() { the_countdown = {}; }

}  // namespace standin
