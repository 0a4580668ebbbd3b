#include "tests/scenario/events.h"

#include "opal/ltlsvc.h"
#include "opal/ncfg.h"
#include "opal/portsvc.h"
#include "opal/rcgen.h"
#include "opal/vlan_mgr.h"
#include "tests/standin/services.h"
#include "tests/standin/shell.h"

using namespace standin;

namespace {

constexpr uint32_t debug_opcode = 0x20401, enable_opcode = 0x20402;
constexpr uint32_t show_counters_command = 1, show_cin_command = 2, cin_command = 3;
constexpr uint32_t interfaces_attribute = 0x0EC20003, vlans_attribute = 0x13030007;

vlan_bitset_t set_of(const Numbers &vlans) {
  vlan_bitset_t set{};
  set.size = VLAN_BITSET_BYTES;
  for (const uint32_t vlan : vlans) bitset_set_bit(&set, vlan);
  return set;
}

Message port_state_notice(uint32_t if_index, uint8_t link, const Numbers &up, const Numbers &down) {
  portsvc_l2_port_state_t state{};
  state.ifindex = if_index;
  state.iod = if_index & 0xffff;
  state.link_state = link;
  state.vlan_up_bmp = set_of(up);
  state.vlan_down_bmp = set_of(down);
  return {.opcode = QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, .payload = Payload().u32(1).raw(state)};
}

/** A configuration request: its header, which states the length of the body, and the body. */
Message request(uint32_t opcode, int32_t kind, const Bytes &body) {
  Payload payload;
  payload.raw(kind).u32(static_cast<uint32_t>(body.size())).zeros(NCFG_HEADER_BYTES - 8).bytes(body);
  return {.opcode = opcode, .payload = payload};
}

Message cin(const Ranges &vlans, bool is_no_form) {
  return message_of_command({cin_command, is_no_form, {{vlans_attribute, vlan_ranges(vlans)}}});
}

}  // namespace

Message line_card_online() { return {.opcode = QBUS_OPC_LC_ONLINE}; }

Message port_up(uint32_t if_index, const Numbers &vlans) {
  return port_state_notice(if_index, PORTSVC_LINK_UP, vlans, {});
}

Message port_down(uint32_t if_index, const Numbers &vlans) {
  return port_state_notice(if_index, PORTSVC_LINK_DOWN, {}, vlans);
}

Message forwarding(uint32_t if_index, const Numbers &vlans) {
  return {.opcode = QBUS_OPC_LTLSVC_CBL_CHANGE, .payload = Payload().u16(1).u32(if_index).raw(set_of(vlans))};
}

Message vlans_deleted(const std::vector<int32_t> &vlans) {
  return {.opcode = QBUS_OPC_VLAN_MGR_VLANS_DELETED, .payload = deleted_vlans(vlans)};
}

Message redirection_made(uint32_t token) {
  return {.opcode = QBUS_OPC_LTLSVC_ALLOC_LTL, .is_response = true, .token = token};
}

Message redirection_released(uint32_t token) {
  return {.opcode = QBUS_OPC_LTLSVC_DEALLOC_LTL, .is_response = true, .token = token};
}

Message feature_set_answer() { return {.opcode = QBUS_OPC_VLAN_FEAT_CREATE, .is_response = true}; }

Message feature_unset_answer() { return {.opcode = QBUS_OPC_VLAN_FEAT_DELETE, .is_response = true}; }

Message debug_request(int32_t kind, uint8_t about) { return request(debug_opcode, kind, {about, 1}); }

Message enable_request(bool on) { return request(enable_opcode, set_request, Payload().u32(on ? 1 : 0)); }

Message add_cin(const Ranges &vlans) { return cin(vlans, false); }

Message remove_cin(const Ranges &vlans) { return cin(vlans, true); }

Message show_cin() { return message_of_command({.id = show_cin_command}); }

Message show_all_counters() { return message_of_command({.id = show_counters_command}); }

Message show_counters_of(const Ranges &interfaces) {
  return message_of_command(
      {show_counters_command, false, {{interfaces_attribute, interface_ranges(interfaces)}}});
}

Message running_configuration(const Numbers &vlans, bool with_defaults) {
  return message_of_generation({vlans, RCGEN_CFG_RUNNING, with_defaults ? int{RCGEN_DISPLAY_ALL} : 0});
}

Message startup_configuration(const Numbers &vlans) {
  return message_of_generation({vlans, RCGEN_CFG_STARTUP, 0});
}
