/* The relay: it forwards frames of the SoL (serial over LAN) and CIN (chassis internal network) VLANs between
 * the management device and the in-band device of the ASIC (the switch chip).
 *
 * The relay uses both devices through raw packet sockets. One static buffer serves both directions. A
 * management frame is read to byte 10 of it, so the from-host header fits in front. An in-band frame is sent
 * to the management device from byte 10. The relay copies no frame. It allocates memory only when it sees a
 * source address for the first time.
 *
 *   buf  0         10       16       22    24     26
 *        ASIC hdr  dst MAC  src MAC  8100  tag    ...
 *
 * A frame has at least 60 bytes, so every byte that the relay examines exists. A shorter frame ends the read
 * loop. The relay accepts a tagged frame from the management side if it carries the VLAN. It accepts a tagged
 * frame from the ASIC if the ingress port is a member of the VLAN. A frame to the ASIC goes to the port where
 * its destination was learnt; if that port blocks the VLAN, the frame is dropped. Every other
 * frame goes to all ports that forward the VLAN.
 *
 *   tesk_l2switch_init.cpp  the sockets
 *   tesk_l2switch.cpp       the forwarding decision and the frames */
#pragma once

#include "opal/kestrix_th_fh_hdr.h"
#include "opal/rcode.h"
#include "tesk/tesk_common.h"

static_assert(sizeof(kestrix_th_hdr_t) == KESTRIX_HDR_BYTES);
static_assert(sizeof(kestrix_fh_hdr_t) == KESTRIX_HDR_BYTES);

enum {
  TESK_FRAME_PROTOCOL = 0xF102, /**< selects the relay's frames on both devices */
  TESK_FRAME_BUF_BYTES = 2584,
  TESK_FRAME_MIN_BYTES = 60, /**< of an Ethernet frame, without its check sequence */
  TESK_TPID = 0x8100,
  TESK_DEVICE_NAME_BYTES = 8
};

/** Name of the ASIC's device. */
#define TESK_INBAND_DEVICE "inb0"

extern uint8_t buf[TESK_FRAME_BUF_BYTES];
extern char lnx_eth_if[TESK_DEVICE_NAME_BYTES]; /**< the management device */
extern int sock_mgmt;
extern int sock_inband;

/** Opens both sockets. @return 0, or 8 on any failure */
rcode_t tesk_l2switch_init();

/** Relay the frames that wait on one device. @return the result of the last read */
int tesk_rx_mgmt();
int tesk_rx_inband();

/**
 * Decides where a frame goes and writes it to the ASIC.
 * @param frame_buffer 10 bytes for the header, then the frame
 * @param length of the Ethernet frame
 * @return bytes written, the low 16 bits of write's result; 0 for a frame that was dropped
 */
uint16_t tesk_tx_inband(uint16_t vlan, uint8_t *frame_buffer, int length);

/** Writes an Ethernet frame to the management device. @return as tesk_tx_inband */
uint16_t tesk_tx_mgmt(const uint8_t *frame, int length);
