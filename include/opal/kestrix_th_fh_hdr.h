/* The headers in front of each Ethernet frame on the in-band device, 10 bytes each: to-host (ASIC to
 * CPU) and from-host (CPU to ASIC). The Ethernet frame begins at byte 10.
 *
 * Bits are numbered 7 (most significant) to 0 within a byte. A field that does not fit one byte is
 * split: piece_a_b holds bits a to b of the field.
 *
 *   to-host                                          from-host
 *   byte bits                                        byte bits
 *   0  7-0 reason_code                               0  7-2 vlan_0_5      1 mc  0 ce
 *   1  7-6 oup_0_1  5-1 plid  0 ce                   1  7-6 ltl_0_1       5-0 vlan_6_11
 *   2  7-5 tags_exist_0_2  4-1 rw_type  0 oup_2      2  7-0 ltl_2_9
 *   3  7-6 ingress_plid_0_1  5-0 tags_exist_3_8      3  7-0 ltl_10_17
 *   4  7-3 vlan_0_4  2-0 ingress_plid_2_4            4  7-6 tags_exist_0_1  5-2 rsvd2  1-0 ltl_18_19
 *   5  7 iup_0  6-0 vlan_5_11                        5  7 up_0  6-0 tags_exist_2_8
 *   6  7-4 rsvd_0_3  3 fc2  2 fcoe  1-0 iup_1_2      6  7-5 rsvd1_0_2  4 diag_pkt  3 fc2  2 fcoe  1-0 up_1_2
 *   7  7-0 rsvd_4_11                                 7  7-0 rsvd1_3_10
 *   8  7-0 ts_0_7                                    8  7-0 ts_0_7
 *   9  7-0 ts_8_15                                   9  7-0 ts_8_15
 *
 * Fields are read and written by shifts on bytes, so that the record means the same on every host. */
#pragma once

#include <string.h>

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KESTRIX_HDR_BYTES = 10 };

typedef struct kestrix_th_hdr {
  uint8_t byte[KESTRIX_HDR_BYTES];
} kestrix_th_hdr_t;

typedef struct kestrix_fh_hdr {
  uint8_t byte[KESTRIX_HDR_BYTES];
} kestrix_fh_hdr_t;

/** @return 1 when the CE flag is set; frames without it are not for the relay */
static inline int kestrix_th_ce(const kestrix_th_hdr_t *header) { return header->byte[1] & 0x01; }

/** @return 1 when the frame carries its 802.1Q tag (bit 0 of tags-present) */
static inline int kestrix_th_tagged(const kestrix_th_hdr_t *header) { return (header->byte[2] & 0x20) >> 5; }

/** @return the ASIC port on which the frame came in, 0 to 31 */
static inline uint8_t kestrix_th_ingress_plid(const kestrix_th_hdr_t *header) {
  return (uint8_t)(header->byte[3] >> 6 | (header->byte[4] & 0x07) << 2);
}

static inline void kestrix_th_clear(kestrix_th_hdr_t *header) { memset(header, 0, sizeof *header); }

static inline void kestrix_th_set_ce(kestrix_th_hdr_t *header) { header->byte[1] |= 0x01; }

static inline void kestrix_th_set_tagged(kestrix_th_hdr_t *header) { header->byte[2] |= 0x20; }

/** @param plid 0 to 31 */
static inline void kestrix_th_set_ingress_plid(kestrix_th_hdr_t *header, uint8_t plid) {
  header->byte[3] = (uint8_t)((header->byte[3] & 0x3f) | plid << 6);
  header->byte[4] = (uint8_t)((header->byte[4] & 0xf8) | (plid >> 2 & 0x07));
}

/** @param vlan 0 to 4095 */
static inline void kestrix_th_set_vlan(kestrix_th_hdr_t *header, uint16_t vlan) {
  header->byte[4] = (uint8_t)((header->byte[4] & 0x07) | vlan << 3);
  header->byte[5] = (uint8_t)((header->byte[5] & 0x80) | (vlan >> 5 & 0x7f));
}

/** @return the VLAN, 0 to 4095 */
static inline uint16_t kestrix_th_vlan(const kestrix_th_hdr_t *header) {
  return (uint16_t)(header->byte[4] >> 3 | (header->byte[5] & 0x7f) << 5);
}

static inline void kestrix_fh_clear(kestrix_fh_hdr_t *header) { memset(header, 0, sizeof *header); }

static inline void kestrix_fh_set_ce(kestrix_fh_hdr_t *header) { header->byte[0] |= 0x01; }

/** Marks the LTL as a set of ports to flood to. */
static inline void kestrix_fh_set_mc(kestrix_fh_hdr_t *header) { header->byte[0] |= 0x02; }

/** Marks the frame as carrying its 802.1Q tag (bit 0 of tags-present). */
static inline void kestrix_fh_set_tagged(kestrix_fh_hdr_t *header) { header->byte[4] |= 0x40; }

/** @param vlan 0 to 4095 */
static inline void kestrix_fh_set_vlan(kestrix_fh_hdr_t *header, uint16_t vlan) {
  header->byte[0] = (uint8_t)((header->byte[0] & 0x03) | vlan << 2);
  header->byte[1] = (uint8_t)((header->byte[1] & 0xc0) | (vlan >> 6 & 0x3f));
}

/** @param ltl its low 20 bits are written */
static inline void kestrix_fh_set_ltl(kestrix_fh_hdr_t *header, uint32_t ltl) {
  header->byte[1] = (uint8_t)((header->byte[1] & 0x3f) | ltl << 6);
  header->byte[2] = (uint8_t)(ltl >> 2);
  header->byte[3] = (uint8_t)(ltl >> 10);
  header->byte[4] = (uint8_t)((header->byte[4] & 0xfc) | (ltl >> 18 & 0x03));
}

static inline int kestrix_fh_ce(const kestrix_fh_hdr_t *header) { return header->byte[0] & 0x01; }

static inline int kestrix_fh_mc(const kestrix_fh_hdr_t *header) { return header->byte[0] >> 1 & 0x01; }

static inline int kestrix_fh_tagged(const kestrix_fh_hdr_t *header) { return header->byte[4] >> 6 & 0x01; }

/** @return the VLAN, 0 to 4095 */
static inline uint16_t kestrix_fh_vlan(const kestrix_fh_hdr_t *header) {
  return (uint16_t)(header->byte[0] >> 2 | (header->byte[1] & 0x3f) << 6);
}

/** @return the 20-bit set of destination ports, bit n for ASIC port n */
static inline uint32_t kestrix_fh_ltl(const kestrix_fh_hdr_t *header) {
  return (uint32_t)header->byte[1] >> 6 | (uint32_t)header->byte[2] << 2 | (uint32_t)header->byte[3] << 10 |
         ((uint32_t)header->byte[4] & 0x03) << 18;
}

#ifdef __cplusplus
}
#endif
