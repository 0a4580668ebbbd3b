/* Shared by the tests of the port and VLAN tables: the lines that one step of the daemon leaves in the
 * record, and short ways to bring a table to a state.
 *
 * A step that several operations share (a port pushed to the kernel module, a VLAN's mask set) is one
 * expression here. So a test's table shows the order of the steps and not their parts:
 *
 *     expect(lines(port_pushed("0x1a000003 type 26 asic 3 [4095 blk]"), ltl_set(4095, 0x8), vlan_marked()));
 *
 * A step includes all of its traces, also the empty ones of the kernel adapter. */
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "opal/cush.h"
#include "opal/ltlsvc.h"
#include "opal/portsvc.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"
#include "tests/unit/daemon_test.h"

/** Joins lines and steps into one table of expected lines. */
template <class... Parts>
Lines lines(const Parts &...parts) {
  Lines all;
  const auto add = [&all](const auto &part) {
    if constexpr (std::is_same_v<std::decay_t<decltype(part)>, Lines>) {
      all.insert(all.end(), part.begin(), part.end());
    } else {
      all.push_back(Line(part));
    }
  };
  (add(parts), ...);
  return all;
}

/** Formats a text as printf does. */
__attribute__((format(printf, 1, 2))) inline std::string format(const char *pattern, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

/** A trace whose text begins with the name of the function that traces. */
inline Line control_of(const std::string &function, const std::string &text) {
  return control(function, function + text);
}
inline Line error_of(const std::string &function, const std::string &text) {
  return error(function, function + text);
}

/* ---- steps ---- */

inline Lines entered(const std::string &function) { return {control(function, "\n")}; }

inline Lines port_pushed(const std::string &record) {
  return lines(entered("tesk_krnl_add_or_update_port"), entered("tesk_krnl_add_or_update_ports"),
               "ioctl(31, add_or_update_ports, {" + record + "})");
}

inline Lines vlan_pushed(const std::string &record) {
  return lines(entered("tesk_krnl_add_or_update_vlan"), entered("tesk_krnl_add_or_update_vlans"),
               "ioctl(31, add_or_update_vlans, {" + record + "})");
}

inline Lines port_removed(uint32_t if_index) {
  return lines(entered("tesk_krnl_del_port"), format("ioctl(31, del_port, 0x%x)", if_index));
}

inline Lines vlan_removed(uint32_t vlan) {
  return lines(entered("tesk_krnl_del_vlan"), format("ioctl(31, del_vlan, %u)", vlan));
}

inline Lines port_marked() { return entered("tesk_krnl_port_info_dirty"); }
inline Lines entry_marked() { return entered("tesk_krnl_vlan_info_dirty_"); }
inline Lines vlan_marked() { return lines(entered("tesk_krnl_vlan_info_dirty"), entry_marked()); }

inline Lines ltl_set(uint32_t vlan, uint32_t ltl) {
  return lines(control_of("tesk_vlan_hash_set_ltl", format(":VLAN:%u, LTL:0x%x\n", vlan, ltl)),
               entry_marked());
}

inline Lines cbl_set(uint32_t vlan, uint32_t cbl) {
  return lines(control_of("tesk_vlan_hash_set_cbl", format(":VLAN:%u, CBL:0x%x\n", vlan, cbl)),
               entry_marked());
}

inline Lines token_kept(uint32_t vlan, uint32_t token) {
  return lines(control_of("tesk_vlan_hash_set_req_ref", format(":VLAN:%u, rr_token:0x%x\n", vlan, token)),
               format("qbus_drop(30, request %u)", token));
}

inline Lines activated(uint32_t vlan, uint32_t token) {
  return lines(
      format("ltlsvc_send_ltl_alloc(30, 7, %u, 0, 0, 0)", vlan), token_kept(vlan, token),
      format("kinb_tesk_vlan_add(%u)", vlan),
      control_of("tesk_vlan_activate", format(": Tesk classification setup for vlan %u done\n", vlan)));
}

inline Lines deactivated(uint32_t vlan, uint32_t token) {
  return lines(
      format("kinb_tesk_vlan_del(%u)", vlan),
      control_of("tesk_vlan_deactivate", format(": Tesk classification deletion for vlan %u done\n", vlan)),
      format("ltlsvc_send_ltl_dealloc(30, 0, 7, %u, 0, 0)", vlan), token_kept(vlan, token));
}

/** An interface index is converted to the ASIC port of the same number. */
inline Lines converted(uint32_t if_index) {
  return lines(format("ltlsvc_lib_ifidx_to_di(0x%x)", if_index),
               control_of("tesk_ifindex_to_kes_port",
                          format(":IfIndex [0x%x], Kestrix Port[%u]\n", if_index, if_index & 0xffff)));
}

/** The key of a CIN VLAN's record (CIN: chassis internal network) as the record of a test shows it. */
inline std::string shown_key(uint32_t vlan) { return format("00000000%08x", vlan); }

/** A VLAN is looked up in the running store; `result` is "exists" or "does not exist". */
inline Lines looked_up(uint32_t vlan, const char *result) {
  return lines("kvs_fetch(1, " + shown_key(vlan) + ")",
               control_of("tesk_kvs_get_cin_vlan_config",
                          format(": VLAN (%u) configuration %s in KVS\n", vlan, result)));
}

inline Lines stored(uint32_t vlan) {
  return lines(
      looked_up(vlan, "does not exist"), "kvs_store(1, 1, " + shown_key(vlan) + ", '')",
      control_of("tesk_kvs_add_cin_vlan_config", format(": VLAN (%u) configuration saved in KVS\n", vlan)));
}

inline Lines unstored(uint32_t vlan) {
  return lines(looked_up(vlan, "exists"), "kvs_delete(1, " + shown_key(vlan) + ")",
               control_of("tesk_kvs_del_cin_vlan_config",
                          format(": VLAN (%u) configuration deleted from KVS\n", vlan)));
}

/** A VLAN without member ports is removed from the management side, the store and the table. */
inline Lines removed(uint32_t vlan) {
  return lines(control_of("tesk_port_vlan_delete", ":\n"), port_marked(), unstored(vlan), vlan_removed(vlan));
}

/** The program sends the VLAN manager that it is, or no longer is, a feature in VLANs. */
inline Lines feature_sent(const char *opcode, const std::string &text, uint32_t token, const char *name) {
  return lines(format("fu_qbus_send(30, {node 0xfe000000, sap 167}, %s, '%s', 0, 0)", opcode, text.c_str()),
               format("qbus_drop(30, request %u)", token),
               control("tesk_qbus_send", format("Sent qbus %s\n", name)));
}

inline Lines feature_set(const std::string &vlans, uint32_t token) {
  return feature_sent("0x5c2d", "set feature 4 in " + vlans, token, "QBUS_OPC_VLAN_FEAT_CREATE");
}

inline Lines feature_unset(const std::string &vlans, uint32_t token) {
  return feature_sent("0x5c2e", "unset feature 4 in " + vlans, token, "QBUS_OPC_VLAN_FEAT_DELETE");
}

/* ---- states ---- */

inline uint32_t bit(uint32_t number) { return UINT32_C(1) << number; }

inline vlan_bitset_t vlan_set(const std::vector<uint32_t> &vlans) {
  vlan_bitset_t set{};
  set.size = VLAN_BITSET_BYTES;
  for (const uint32_t vlan : vlans) bitset_set_bit(&set, vlan);
  return set;
}

inline std::string shown_set(const vlan_bitset_t &set) { return shown_bits(&set); }

/** A context that is in no table. The test frees it, or the table that it is entered in. */
inline tesk_port_t *loose_port(uint32_t if_index, uint8_t asic_port) {
  auto *port = static_cast<tesk_port_t *>(std::calloc(1, sizeof(tesk_port_t)));
  port->if_idx = if_index;
  port->if_type = static_cast<if_index_type_t>(if_index >> 24);
  port->kestrix_port = asic_port;
  port->vlan_bmp = port->shadow_vlan_bmp = port->vlan_cbl_bmp = vlan_set({});
  return port;
}

/** The entry of a VLAN in the VLAN table; null if there is none. */
inline const vlan_hash_entry_t *vlan_entry(uint16_t vlan) {
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  return link == nullptr ? nullptr : *link;
}

/** One port's part of a state notice. */
inline portsvc_l2_port_state_t port_state(uint32_t if_index, uint8_t link, const std::vector<uint32_t> &up,
                                          const std::vector<uint32_t> &down = {}) {
  portsvc_l2_port_state_t state{};
  state.ifindex = if_index;
  state.iod = if_index & 0xffff;
  state.link_state = link;
  state.vlan_up_bmp = vlan_set(up);
  state.vlan_down_bmp = vlan_set(down);
  return state;
}

inline Bytes state_notice(const std::vector<portsvc_l2_port_state_t> &ports) {
  Payload payload;
  payload.u32(static_cast<uint32_t>(ports.size()));
  for (const portsvc_l2_port_state_t &port : ports) payload.raw(port);
  return payload;
}

/** Runs the handler with a notice in which the interface manager reports ports. */
inline void report(const Bytes &notice) {
  qbus_msg_ref_t message = hold({.opcode = QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, .payload = notice});
  tesk_handle_l2_protocol_state_changed_msg(&message);
}

/** Brings a port up in VLANs and forgets the record of that. @return its context */
inline tesk_port_t *port_is_up(uint32_t if_index, const std::vector<uint32_t> &vlans) {
  report(state_notice({port_state(if_index, PORTSVC_LINK_UP, vlans)}));
  forget();
  return tesk_ifindex_hash_find(if_index);
}

/** Calls the function of a shell command with the command's handle. */
inline void run_command(const Command &command, void (*function)(cmd_rx_handle_t *, qbus_msg_ref_t *)) {
  qbus_msg_ref_t message = hold(message_of_command(command));
  const std::unique_ptr<uint64_t[]> scratch(new uint64_t[cmd_req_handle_get_1(&message) / 8 + 1]);
  function(cmd_req_handle_get_2(&message, scratch.get()), &message);
}

/** The first `length` bytes of a payload. */
inline Bytes cut(const Bytes &whole, size_t length) {
  return {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)};
}

/** Fixture of a daemon whose tables are up, with CIN VLANs from its store. */
class TablesTest : public DaemonTest {
 protected:
  explicit TablesTest(const std::vector<int32_t> &cin_vlans = {}) {
    store_cin_vlans(running_store, cin_vlans);
    bring_up_tables();
  }
};
