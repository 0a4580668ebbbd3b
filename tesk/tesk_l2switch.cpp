#include "tesk/tesk_l2switch.h"

#include <errno.h>
#include <unistd.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

uint8_t buf[TESK_FRAME_BUF_BYTES];

static_assert(sizeof lnx_eth_if == TESK_NAME_BYTES, "traces copy the device's name in one move");

namespace {

/* Offsets in an Ethernet frame. */
enum { FRAME_SOURCE = 6, FRAME_TPID = 12, FRAME_TAG = 14 };

/** Destination of a frame: one port, or every port of a set. */
typedef struct destination {
  uint32_t ltl;
  tesk_port_t *port; /**< null for a flood */
} destination_t;

inline uint16_t frame_word(const uint8_t *frame, int offset) {
  return (uint16_t)(frame[offset] << 8 | frame[offset + 1]);
}

inline uint16_t frame_vlan(const uint8_t *frame) { return frame_word(frame, FRAME_TAG) & 0x0fff; }

inline boolean frame_is_group(const uint8_t *frame) { return (frame[0] & 0x01) != 0; }

inline void count_frame(tesk_port_stats_t *stats, const uint8_t *frame) {
  if (frame_is_group(frame)) {
    stats->mcast++;
  } else {
    stats->ucast++;
  }
}

void count_flood(uint32_t ltl, const uint8_t *frame) {
  for (uint8_t port = 0; ltl != 0; port++, ltl >>= 1) {
    tesk_port_t *context = (ltl & 1) != 0 ? tesk_kes_port_to_port_context(port) : nullptr;
    if (context != nullptr) {
      count_frame(&context->tx_stats, frame);
    }
  }
}

/* @return false when the frame is to be dropped */
boolean choose_destination(const uint8_t *frame, uint16_t vlan, destination_t *to,
                           tesk_place_t place = tesk_here()) {
  tesk_port_t *port = frame_is_group(frame) ? nullptr : tesk_fib_hash_lookup(frame, vlan);
  if (port != nullptr) {
    if (!tesk_port_vlan_forwarding(port, vlan)) [[unlikely]] {
      TESK_PKT_AT(place, "%s:Port-VLAN[%08x-%d] CBL BLK, not forwarding\n", place.function, port->if_idx,
                  vlan);
      return false;
    }
    if (port->kestrix_port != TESK_NO_ASIC_PORT) {
      *to = {.ltl = tesk_port_bit(port->kestrix_port), .port = port};
      return true;
    }
    TESK_PKT_AT(place, "%s:Could not retrieve HW port number for ifindex [0x%x]\n", place.function,
                port->if_idx);
  }
  /* For a VLAN outside the table this returns all ones: a flood to every port. */
  *to = {.ltl = tesk_vlan_hash_get_cbl_ltl(vlan), .port = nullptr};
  if (to->ltl == 0) {
    TESK_PKT_AT(place, "%s:Failed to retrieve LTL for vlan [%d]\n", place.function, vlan);
    return false;
  }
  return true;
}

void finish_header(kestrix_fh_hdr_t *header, uint16_t vlan, const destination_t *to) {
  kestrix_fh_set_tagged(header);
  kestrix_fh_set_vlan(header, vlan);
  kestrix_fh_set_ltl(header, to->ltl);
  if (to->port == nullptr) {
    kestrix_fh_set_mc(header);
  }
}

/* @return the port on which the frame came in; null if it is not accepted, after tracing why. Inlined so
 * that the place costs nothing for an accepted frame. */
[[gnu::always_inline]] inline tesk_port_t *admit_inband(const uint8_t *packet, uint16_t vlan,
                                                        tesk_place_t place = tesk_here()) {
  const auto *header = (const kestrix_th_hdr_t *)packet;
  if (!kestrix_th_ce(header)) [[unlikely]] {
    TESK_PKT_AT(place, "%s:Received Non-CE frame, dropping it [%s]\n", place.function, TESK_INBAND_DEVICE);
    return nullptr;
  }
  if (!kestrix_th_tagged(header)) [[unlikely]] {
    TESK_PKT_AT(place, "%s:Received Untagged frame, dropping it [%s]\n", place.function, TESK_INBAND_DEVICE);
    return nullptr;
  }
  const uint8_t ingress = kestrix_th_ingress_plid(header);
  tesk_port_t *port = tesk_kes_port_to_port_context(ingress);
  if (port == nullptr) [[unlikely]] {
    TESK_PKT_AT(place, "%s: Failed to lookup port context for Kestrix port[%d]\n", place.function, ingress);
    return nullptr;
  }
  if (!tesk_port_has_vlan(port, vlan)) [[unlikely]] {
    TESK_PKT_AT(place, "%s: Ingress Port[0x%x] is not a member of VLAN[%d]\n", place.function, port->if_idx,
                vlan);
    return nullptr;
  }
  return port;
}

}  // namespace

int tesk_rx_mgmt() {
  uint8_t *frame = buf + KESTRIX_HDR_BYTES;
  for (;;) {
    const int length = (int)read(sock_mgmt, frame, sizeof buf - KESTRIX_HDR_BYTES);
    if (length < TESK_FRAME_MIN_BYTES) {
      return length;
    }
    const uint16_t tpid = frame_word(frame, FRAME_TPID);
    if (tpid != TESK_TPID) [[unlikely]] {
      TESK_PKT("%s:Received untagged frame(ET:0x%04x)\n", __func__, tpid);
      continue;
    }
    const uint16_t vlan = frame_vlan(frame);
    if (!tesk_port_has_vlan(&amm_mgmt_port, vlan)) [[unlikely]] {
      TESK_PKT("%s:Received traffic over non-SoL/CIN VLAN(%d)\n", __func__, vlan);
      continue;
    }
    TESK_PKT("%s:Read %d bytes on [%s]\n", __func__, length, lnx_eth_if);
    count_frame(&amm_mgmt_port.rx_stats, frame);
    (void)tesk_tx_inband(vlan, buf, length);
  }
}

uint16_t tesk_tx_inband(uint16_t vlan, uint8_t *frame_buffer, int length) {
  auto *header = (kestrix_fh_hdr_t *)frame_buffer;
  const uint8_t *frame = frame_buffer + KESTRIX_HDR_BYTES;
  kestrix_fh_clear(header);
  kestrix_fh_set_ce(header);
  destination_t to;
  if (!choose_destination(frame, vlan, &to)) [[unlikely]] {
    return 0;
  }
  finish_header(header, vlan, &to);
  const int requested = length + KESTRIX_HDR_BYTES;
  const auto written = (uint16_t)write(sock_inband, frame_buffer, (size_t)requested);
  if (written == 0) [[unlikely]] {
    TESK_PKT("%s:Wrote %d bytes (Req:%d) for LTL: %05x [%s]:err(%d)\n", __func__, 0, requested, to.ltl,
             TESK_INBAND_DEVICE, errno);
    return 0;
  }
  TESK_PKT("%s:Wrote %d bytes (Req:%d) for%sLTL: %05x [%s]\n", __func__, written, requested,
           to.port == nullptr ? " Flood " : " ", to.ltl, TESK_INBAND_DEVICE);
  if (to.port != nullptr) {
    count_frame(&to.port->tx_stats, frame);
  } else {
    count_flood(to.ltl, frame);
  }
  return written;
}

int tesk_rx_inband() {
  const uint8_t *frame = buf + KESTRIX_HDR_BYTES;
  for (;;) {
    const int length = (int)read(sock_inband, buf, sizeof buf);
    if (length - KESTRIX_HDR_BYTES < TESK_FRAME_MIN_BYTES) {
      return length;
    }
    const uint16_t tpid = frame_word(frame, FRAME_TPID);
    if (tpid != TESK_TPID) [[unlikely]] {
      TESK_PKT("%s:Received untagged frame(0x%4x)\n", __func__, tpid);
      continue;
    }
    const uint16_t vlan = frame_vlan(frame);
    tesk_port_t *port = admit_inband(buf, vlan);
    if (port == nullptr) [[unlikely]] {
      continue;
    }
    TESK_PKT("%s: Received Frame (%d bytes) on Port [0x%x] over VLAN:%d\n", __func__, length, port->if_idx,
             vlan);
    count_frame(&port->rx_stats, frame);
    (void)tesk_fib_hash_insert(frame + FRAME_SOURCE, port, vlan);
    (void)tesk_tx_mgmt(frame, length - KESTRIX_HDR_BYTES);
  }
}

uint16_t tesk_tx_mgmt(const uint8_t *frame, int length) {
  const auto written = (uint16_t)write(sock_mgmt, frame, (size_t)length);
  if (written == 0) [[unlikely]] {
    TESK_PKT("%s:Wrote %d bytes, Req %d bytes [%s]:err(%d)\n", __func__, 0, length, lnx_eth_if, errno);
    return 0;
  }
  TESK_PKT("%s:Wrote %d bytes, Req %d bytes [%s]\n", __func__, written, length, lnx_eth_if);
  count_frame(&amm_mgmt_port.tx_stats, frame);
  return written;
}
