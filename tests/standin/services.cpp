#include "tests/standin/services.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "opal/board.h"
#include "opal/capreg.h"
#include "opal/chanagg.h"
#include "opal/if_index.h"
#include "opal/kinb.h"
#include "opal/ltlsvc.h"
#include "opal/overseer.h"
#include "opal/portsvc.h"
#include "opal/timer.h"
#include "opal/vlan_mgr.h"
#include "tests/standin/memory.h"
#include "tests/standin/script.h"

const platform_runtime_param_t platform_runtime_param_array[] = {
    {1, "mgmt0", 1, "none"},
    {1, "none", 2, "mgmt1"},
    {1, "management0", 2, "management1"},
};

namespace standin {

namespace {

struct Timer {
  timer_callback_t callback = nullptr;
  void *user_data = nullptr;
};

struct Services {
  uint16_t card_id = 82;
  std::map<if_index_t, chanagg_pc_info_t> channels;
  std::set<vlan_id_t> redirected;
  Timer timer;
  std::string completed_uri;
  std::string file_prefix;
};

Services the_services;

int send_ltl_request(const Answer &answer, qbus_msg_ref_t *reference) {
  const int result = answer.returns(0);
  if (result == 0) *reference = request_reference(answer.gives(next_token()));
  return result;
}

/** Builds a payload whose text says what it is for. A scripted output of 0 makes it empty, one of -1 none. */
int build_feature_payload(const Operation &operation, const char *verb, uint32_t count,
                          const vlan_id_t *vlans, uint32_t feature, void **payload, uint32_t *length) {
  std::string text = std::string(verb) + " feature " + std::to_string(feature) + " in";
  for (uint32_t i = 0; i < count; ++i) text += " " + std::to_string(vlans[i]);
  const Answer answer = quiet(operation);
  const auto size = answer.gives(static_cast<int64_t>(text.size()));
  *payload = size < 0 ? nullptr : give_to_daemon(text.size());
  if (*payload != nullptr) std::memcpy(*payload, text.data(), text.size());
  *length = static_cast<uint32_t>(std::max<int64_t>(size, 0));
  return answer.returns(0);
}

}  // namespace

void on_board(uint16_t card_id) { the_services.card_id = card_id; }

uint32_t ethernet(uint32_t port) { return 0x1a000000u | port; }

uint32_t port_channel(uint32_t channel) { return 0x16000000u | channel; }

void channel_has(uint32_t channel, uint32_t first_operational, const std::vector<uint32_t> &members) {
  chanagg_pc_info_t info{};
  info.fop_ifindex = first_operational;
  info.member_count = static_cast<uint32_t>(members.size());
  std::copy_n(members.begin(), std::min<size_t>(members.size(), CHANAGG_MEMBERS), info.member);
  the_services.channels[port_channel(channel)] = info;
}

bool is_redirected(int32_t vlan) { return the_services.redirected.contains(vlan); }

void timer_expires() { the_services.timer.callback(the_services.timer.user_data); }

Bytes deleted_vlans(const std::vector<int32_t> &vlans) {
  Payload payload;
  for (const int32_t vlan : vlans) payload.raw(vlan_delete_notif_local_t{0, vlan, 1});
  return payload;
}

void reset_services() { the_services = {}; }

}  // namespace standin

using namespace standin;

int get_card_module_info(card_module_info_t *info) {
  const Answer answer = call("get_card_module_info");
  *info = {};
  info->swCardId = the_services.card_id;
  return answer.returns(0);
}

uint32_t get_platform_runtime_index(void) {
  return quiet("get_platform_runtime_index").returns(the_services.card_id == 83 ? 1u : 0u);
}

int capreg_notify_feature_status(qbus_queue_t queue, const char *feature, uint32_t enabled, uint32_t reason) {
  return call("capreg_notify_feature_status", queue, feature, enabled, reason).returns(0);
}

rcode_t chanagg_get_pc_info(if_index_t port_channel, chanagg_pc_info_t *info) {
  const Answer answer = call("chanagg_get_pc_info", hex(port_channel));
  const auto found = the_services.channels.find(port_channel);
  if (found != the_services.channels.end()) *info = found->second;
  const rcode_t otherwise = found == the_services.channels.end() ? RCODE_NOT_FOUND : RCODE_SUCCESS;
  return answer.returns(otherwise);
}

rcode_t ltlsvc_lib_ifidx_to_di(if_index_t if_idx, uint32_t *di) {
  const Answer answer = call("ltlsvc_lib_ifidx_to_di", hex(if_idx));
  *di = answer.gives(if_idx & 0xffff);
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

int ltlsvc_send_ltl_alloc(qbus_queue_t queue, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                          uint32_t argument2, uint32_t argument3, qbus_msg_ref_t *reference) {
  the_services.redirected.insert(vlan);
  return send_ltl_request(call("ltlsvc_send_ltl_alloc", queue, type, vlan, argument1, argument2, argument3),
                          reference);
}

int ltlsvc_send_ltl_dealloc(qbus_queue_t queue, ltl_t ltl, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                            uint32_t argument2, qbus_msg_ref_t *reference) {
  const int result = send_ltl_request(
      call("ltlsvc_send_ltl_dealloc", queue, ltl, type, vlan, argument1, argument2), reference);
  if (result == 0) the_services.redirected.erase(vlan);
  return result;
}

int kinb_libinit(void) { return call("kinb_libinit").returns(0); }
int kinb_tesk_vlan_add(vlan_id_t vlan) { return call("kinb_tesk_vlan_add", vlan).returns(0); }
int kinb_tesk_vlan_del(vlan_id_t vlan) { return call("kinb_tesk_vlan_del", vlan).returns(0); }

int portsvc_ext_sbcr_init(uint32_t instance, uint32_t flags, const char *name) {
  return call("portsvc_ext_sbcr_init", instance, flags, name).returns(0);
}

rcode_t portsvc_parse_l2_protocol_state_change(const qbus_msg_ref_t *message, uint32_t *size,
                                               portsvc_l2_state_change_t **payload) {
  const Answer answer = quiet("portsvc_parse_l2_protocol_state_change");
  const Bytes &bytes = message_of(message).payload;
  *size = static_cast<uint32_t>(bytes.size());
  *payload = nullptr;
  if (!bytes.empty()) {
    void *copy = give_to_daemon(bytes.size());
    std::memcpy(copy, bytes.data(), bytes.size());
    *payload = static_cast<portsvc_l2_state_change_t *>(copy);
  }
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

int portsvc_is_ifindex_present(if_index_t if_index, portsvc_if_info_t *info) {
  const int present = call("portsvc_is_ifindex_present", hex(if_index)).returns(1);
  if (present == 1) *info = {if_index & 0xffff, PORTSVC_LINK_UP};
  return present;
}

rcode_t vlan_mgr_parse_notification_msg_local(const qbus_msg_ref_t *message,
                                              vlan_delete_notif_local_t **records, uint32_t *count) {
  const Answer answer = quiet("vlan_mgr_parse_notification_msg_local");
  const Bytes &bytes = message_of(message).payload;
  *records = nullptr;
  *count = 0;
  if (answer.has_result()) return answer.returns<rcode_t>(RCODE_INVALID);
  *records = static_cast<vlan_delete_notif_local_t *>(give_to_daemon(bytes.size()));
  if (!bytes.empty()) std::memcpy(*records, bytes.data(), bytes.size());
  *count = static_cast<uint32_t>(bytes.size() / sizeof(vlan_delete_notif_local_t));
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

int vlan_feat_create_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length) {
  return build_feature_payload("vlan_feat_create_build_qbus_local", "set", count, vlans, feature, payload,
                               length);
}

int vlan_feat_delete_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length) {
  return build_feature_payload("vlan_feat_delete_build_qbus_local", "unset", count, vlans, feature, payload,
                               length);
}

int vlan_mgr_check_feat(uint32_t vdc, vlan_id_t vlan, const vlan_feat_map_t *features) {
  return call("vlan_mgr_check_feat", vdc, vlan, shown_bits(features)).returns(1);
}

int overseer_handshake(qbus_queue_t queue, uint32_t uuid) {
  return call("overseer_handshake", queue, uuid).returns(0);
}

int overseer_conditional_srv_was_handshake_done(void) {
  return call("overseer_conditional_srv_was_handshake_done").returns(1);
}

int overseer_condition_verified(uint32_t condition, uint32_t instance) {
  return call("overseer_condition_verified", condition, instance).returns(0);
}

uint32_t overseer_heartbeat_timeout_get(void) {
  return quiet("overseer_heartbeat_timeout_get").returns(30000u);
}

int overseer_heartbeat(int first) { return call("overseer_heartbeat", first).returns(0); }

int overseer_notify_conditional_srv_start_status(int status) {
  return call("overseer_notify_conditional_srv_start_status", status).returns(0);
}

int overseer_dispatch(qbus_msg_ref_t *message) {
  const int result = call("overseer_dispatch", "message " + shown(hex(qbus_opc_get(message)))).returns(-1);
  if (result == 1) release(message);
  return result;
}

const char *overseer_running_cfg_uri_get(void) {
  return quiet("overseer_running_cfg_uri_get").returns_pointer("running:");
}

const char *overseer_startup_cfg_uri_get(void) {
  return quiet("overseer_startup_cfg_uri_get").returns_pointer("startup:");
}

const char *overseer_file_prefix_get(void) {
  const Answer answer = quiet("overseer_file_prefix_get");
  the_services.file_prefix = answer.has_result() ? "100%d-" : std::string(answer.gives<size_t>(0), 'p');
  return the_services.file_prefix.c_str();
}

const char *overseer_uri_complete(const char *base_uri, const char *file_prefix, const char *name) {
  note_call("overseer_uri_complete");
  the_services.completed_uri =
      base_uri == nullptr ? std::string() : std::string(base_uri) + file_prefix + name;
  return the_services.completed_uri.c_str();
}

int overseer_cfg_action_done(qbus_msg_ref_t *request, rcode_t status) {
  return call("overseer_cfg_action_done", "message " + shown(hex(qbus_opc_get(request))), status).returns(0);
}

int timer_module_init(uint32_t count, uint32_t tick_ms) {
  return call("timer_module_init", count, tick_ms).returns(0);
}

timer_handle_t timer_new(uint32_t seconds, int periodic, timer_callback_t callback, void *user_data) {
  the_services.timer = {callback, user_data};
  const std::string data = user_data == nullptr ? "null" : "user data";
  return call("timer_new", seconds, periodic, std::string(callback == nullptr ? "null" : "callback"), data)
      .returns<timer_handle_t>(9);
}

int timer_start(timer_handle_t timer) { return call("timer_start", timer).returns(0); }
