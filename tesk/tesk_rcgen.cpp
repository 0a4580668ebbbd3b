#include "opal/rcgen.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"

namespace {

/* The service's numbers for this program's VLAN sub-command, and for the element that its lines follow. */
enum { ELEMENT = 1, ELEMENT_KIND = 11, ELEMENT_PROPERTY = 2, VLAN_UUID = 383, VLAN_ELEMENT = 2 };

enum { LINE_BYTES = 256 };

/** The CIN VLANs of the configuration that was asked for. */
typedef struct cin_list {
  kvs_service_t startup; /**< 0 unless the startup store was opened */
  uint16_t count;
  vlan_id_t *vlan;
} cin_list_t;

void describe_element(rcgen_hdl_t *handle) {
  (void)rcgen_elem_add(handle, TESK_UUID, ELEMENT, ELEMENT_KIND);
  (void)rcgen_elem_property_set(handle, ELEMENT, ELEMENT_PROPERTY);
  (void)rcgen_elem_dependency_add(handle, ELEMENT, VLAN_UUID, VLAN_ELEMENT);
}

/* @return false after marking the answer as failed */
boolean list_startup(const qbus_msg_ref_t *request, rcgen_hdl_t *handle, cin_list_t *cin,
                     tesk_place_t place) {
  const char *base = rcgen_startup_cfg_uri_prefix_get(request);
  TESK_CTRL_AT(place, "rcgen_uri_prefix_p[%s]", tesk_trace_text(base));
  const char *uri = tesk_kvs_uri(base, tesk_kvs_startup_name);
  rcode_t result = 0;
  cin->startup = kvs_open(uri, &result);
  if (result != 0) {
    TESK_ERR_AT(place, "Failed to open startup config KVS[%s] [%d]\n", uri, result);
    (void)rcgen_set_response_status(handle, result, "Failed to read Startup cfg for Tesk");
    return false;
  }
  (void)tesk_kvs_cin_vlan_config_get(cin->startup, &cin->count, &cin->vlan);
  TESK_CTRL_AT(place, "Startup config KVS cin_ct[%d]\n", cin->count);
  return true;
}

boolean list_cin_vlans(const qbus_msg_ref_t *request, int config, rcgen_hdl_t *handle, cin_list_t *cin,
                       tesk_place_t place = tesk_here()) {
  if (config == RCGEN_CFG_RUNNING) {
    (void)tesk_kvs_cin_running_vlan_config_get(&cin->count, &cin->vlan);
    TESK_CTRL_AT(place, "Running_cfg cin_ct[%d]", cin->count);
    return true;
  }
  return config != RCGEN_CFG_STARTUP || list_startup(request, handle, cin, place);
}

boolean is_cin_vlan(const cin_list_t *cin, vlan_id_t vlan, tesk_place_t place) {
  for (uint16_t i = 0; i < cin->count; i++) {
    TESK_CTRL_AT(place, "checking vid[%d] cin[%d]\n", vlan, cin->vlan[i]);
    if (cin->vlan[i] == vlan) {
      return true;
    }
  }
  return false;
}

void add_line(rcgen_hdl_t *handle, vlan_id_t vlan, const char *command, tesk_place_t place) {
  char ascii_cmd[LINE_BYTES];
  memset(ascii_cmd, 0, sizeof ascii_cmd);
  (void)snprintf(ascii_cmd, sizeof ascii_cmd, "%s\n", command);
  (void)rcgen_elem_vlan_key_str_add_indent(handle, ELEMENT, vlan, ascii_cmd, 1);
  TESK_CTRL_AT(place, "ascii_cmd[%s] [%d]\n", ascii_cmd, vlan);
}

void add_lines(rcgen_hdl_t *handle, const vlan_bitset_t *requested, const cin_list_t *cin, int display,
               tesk_place_t place = tesk_here()) {
  TESK_CTRL_AT(place, "checking cin in vlan_bmp\n");
  for (int32_t vlan = bitset_first_bit(requested); vlan != -1; vlan = bitset_next_bit(requested, vlan)) {
    if (is_cin_vlan(cin, vlan, place)) {
      add_line(handle, vlan, "cin", place);
    } else if (display == RCGEN_DISPLAY_ALL) {
      add_line(handle, vlan, "no cin", place);
    }
  }
}

}  // namespace

void tesk_rcgencb_cfg_gen(qbus_msg_ref_t *msg_ref_p) {
  vlan_bitset_t requested;
  requested.size = VLAN_BITSET_BYTES;
  bitset_clear(&requested);
  (void)rcgen_req_vlan_list_get(msg_ref_p, &requested);
  rcgen_hdl_t *handle = rcgen_hdl_init(msg_ref_p);
  describe_element(handle);
  const int config = rcgen_cfg_type_get(msg_ref_p);
  const int display = rcgen_cfg_display_type_get(msg_ref_p);
  TESK_CTRL("info: rcgen type %d, display type %d\n", config, display);
  cin_list_t cin = {.startup = 0, .count = 0, .vlan = nullptr};
  if (!list_cin_vlans(msg_ref_p, config, handle, &cin)) {
    (void)rcgen_respond(handle, tesk_qbus_q, msg_ref_p);
    return;
  }
  add_lines(handle, &requested, &cin, display);
  if (cin.startup != 0) {
    (void)kvs_close(cin.startup);
  }
  (void)rcgen_respond(handle, tesk_qbus_q, msg_ref_p);
  free(cin.vlan);
  TESK_CTRL("Done handling ASCII config.");
}
