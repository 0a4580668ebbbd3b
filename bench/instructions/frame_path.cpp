// Sends a number of frames of one kind through the daemon's frame path, and does next to nothing else.
//
// The relay, the tables and the tracing are the daemon's own sources. The platform calls that they make cost
// a few constant instructions here: a read returns the same frame again, a write accepts it, a trace event is
// accepted and discarded. So a run with 2 n frames minus a run with n frames gives the instructions of n
// frames. See count.py.

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>

#include "opal/bitset.h"
#include "opal/kestrix_th_fh_hdr.h"
#include "opal/tracekit.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

const char *tracekit_dbg_modname = "tesk";
const tracekit_syslog_facility_t *tracekit_sys_facility;

namespace {

constexpr int mgmt_descriptor = 42, inband_descriptor = 41;
constexpr size_t frame_bytes = 60;
constexpr uint16_t foreign_vlan = 7;

struct Kind {
  const char *name;
  bool to_asic;
  uint8_t last_octet; /**< of the destination */
  bool group;
  uint16_t tpid;
  uint16_t vlan;
  bool carried;
};

/* One kind for each way through the frame path that a network can make frequent. */
const Kind kinds[] = {{"to-asic-unicast", true, 3, false, TESK_TPID, 4095, true},
                      {"to-asic-flood", true, 0xff, true, TESK_TPID, 4095, true},
                      {"to-asic-untagged", true, 3, false, 0x0800, 4095, false},
                      {"to-asic-wrong-vlan", true, 3, false, TESK_TPID, foreign_vlan, false},
                      {"to-host", false, 0xaa, false, TESK_TPID, 4095, true},
                      {"to-host-untagged", false, 0xaa, false, 0x0800, 4095, false},
                      {"to-host-not-member", false, 0xaa, false, TESK_TPID, foreign_vlan, false}};

tesk_port_t ports[TESK_ASIC_PORTS];
vlan_hash_entry_t sol_entry = {
    .vlan = 4095, .ltl = 0xFFFFF, .cbl = 0xFFFFF, .rr_token = 0, .is_dirty = false, .next = nullptr};

uint8_t frame[size_t{KESTRIX_HDR_BYTES} + frame_bytes];
size_t frame_length;
unsigned frames_left;
unsigned frames_written;

void allow(vlan_bitset_t *vlans) {
  vlans->size = VLAN_BITSET_BYTES;
  bitset_set_bit(vlans, 4095);
}

/* Twenty ports that carry and forward the SoL VLAN (serial over LAN), and one learnt station on each. */
void fill_tables() {
  sock_mgmt = mgmt_descriptor;
  sock_inband = inband_descriptor;
  memcpy(lnx_eth_if, "mgmt0", sizeof "mgmt0");
  allow(&amm_mgmt_port.vlan_bmp);
  vlan_bucket[4095 % TESK_BUCKETS] = &sol_entry;
  (void)tesk_init_fib();
  for (uint8_t number = 0; number < TESK_ASIC_PORTS; number++) {
    tesk_port_t *port = &ports[number];
    port->if_idx = 0x1a000000U + number * 0x1000U;
    port->kestrix_port = number;
    allow(&port->vlan_bmp);
    allow(&port->vlan_cbl_bmp);
    kes_port_map[number] = port;
    const uint8_t station[6] = {0x02, 0, 0, 0, 0, number};
    (void)tesk_fib_hash_insert(station, port, 4095);
  }
}

void make_frame(const Kind *kind) {
  uint8_t *ethernet = frame;
  if (!kind->to_asic) {
    auto *header = (kestrix_th_hdr_t *)frame;
    kestrix_th_set_ce(header);
    kestrix_th_set_tagged(header);
    kestrix_th_set_ingress_plid(header, 3);
    ethernet += KESTRIX_HDR_BYTES;
  }
  frame_length = (size_t)(ethernet - frame) + frame_bytes;
  const uint8_t octets[16] = {(uint8_t)(kind->group ? 0xff : 0x02),
                              0,
                              0,
                              0,
                              0,
                              kind->last_octet,
                              0x02,
                              0,
                              0,
                              0,
                              0,
                              (uint8_t)(kind->to_asic ? 0xaa : 3),
                              (uint8_t)(kind->tpid >> 8),
                              (uint8_t)kind->tpid,
                              (uint8_t)(kind->vlan >> 8),
                              (uint8_t)kind->vlan};
  memcpy(ethernet, octets, sizeof octets);
}

const Kind *kind_named(const char *name) {
  for (const Kind &kind : kinds) {
    if (strcmp(kind.name, name) == 0) {
      return &kind;
    }
  }
  return nullptr;
}

}  // namespace

extern "C" {

/* Replaces the system call. */
ssize_t __wrap_read(int, void *buffer, size_t) {
  if (frames_left == 0) {
    errno = EAGAIN;
    return -1;
  }
  frames_left--;
  memcpy(buffer, frame, frame_length);
  return (ssize_t)frame_length;
}

ssize_t __wrap_write(int, const void *, size_t length) {
  frames_written++;
  return (ssize_t)length;
}

/* Replaces the platform's trace facility: as by default, everything is recorded and nothing is printed. */
int tracekit_hist_event_subtype_check(uint32_t, uint32_t) { return 0; }
void tracekit_hist_event(uint32_t, uint32_t, const void *) {}
tracekit_check_t tracekit_chk_int(uint32_t category, uint32_t, uint32_t, uint32_t) {
  return {.on = 0, .element = category};
}
int dbgprint(int, const char *, uint32_t, const char *, ...) { abort(); }
}

int main(int count, char **words) {
  const Kind *kind = count == 3 ? kind_named(words[1]) : nullptr;
  if (kind == nullptr) {
    for (const Kind &each : kinds) {
      (void)puts(each.name);
    }
    return count == 1 ? 0 : 2;
  }
  const auto frames = (unsigned)strtoul(words[2], nullptr, 10);
  fill_tables();
  make_frame(kind);
  frames_left = frames;
  (void)(kind->to_asic ? tesk_rx_mgmt() : tesk_rx_inband());
  return frames_written == (kind->carried ? frames : 0) ? 0 : 1;
}
