/* Records and requests shared with the kernel module behind /dev/klm_tesk. Records use host byte order and
 * natural alignment. Request numbers follow the platform's ioctl encoding. */
#pragma once

#include <stdint.h>
#include <sys/ioctl.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TESKK_DEVICE "/dev/klm_tesk"

enum { TESKK_PORT_VLANS = 15, TESKK_PORTS = 21, TESKK_VLANS = 15 };

/** One VLAN of a port. */
typedef struct teskk_port_vlan {
  uint16_t vlan;
  uint8_t cbl_fwd; /**< 1 when the port forwards in this VLAN, else 0 */
} teskk_port_vlan_t;

typedef struct teskk_port_info {
  uint32_t if_idx;
  uint8_t if_type;
  uint8_t kestrix_port;
  uint16_t vlan_cnt;                            /**< valid entries in `vlan_lst` */
  teskk_port_vlan_t vlan_lst[TESKK_PORT_VLANS]; /**< in ascending VLAN order */
} teskk_port_info_t;

typedef struct teskk_port_list {
  uint16_t port_cnt; /**< valid entries in `port_lst` */
  teskk_port_info_t port_lst[TESKK_PORTS];
} teskk_port_list_t;

typedef struct teskk_vlan_info {
  uint16_t vlan;
  uint32_t ltl_cbl; /**< member ports that forward the VLAN, bit n for ASIC port n */
} teskk_vlan_info_t;

typedef struct teskk_vlan_list {
  uint16_t vlan_cnt; /**< valid entries in `vlan_lst` */
  teskk_vlan_info_t vlan_lst[TESKK_VLANS];
} teskk_vlan_list_t;

/** Frame counts of one port. The caller sets `if_idx`, the module sets the rest. */
typedef struct teskk_port_counters {
  uint32_t if_idx;
  uint32_t tx_ucast;
  uint32_t tx_mcast;
  uint32_t rx_ucast;
  uint32_t rx_mcast;
} teskk_port_counters_t;

#define TESKK_ADD_OR_UPDATE_VLANS _IOW('s', 0, teskk_vlan_list_t)
#define TESKK_DEL_VLAN _IOW('s', 1, uint16_t)
#define TESKK_ADD_OR_UPDATE_PORTS _IOW('s', 2, teskk_port_list_t)
#define TESKK_DEL_PORT _IOW('s', 3, uint32_t)
#define TESKK_GET_PORT_COUNTERS _IOR('s', 4, teskk_port_counters_t)

#ifdef __cplusplus
}

static_assert(sizeof(teskk_port_vlan_t) == 4);
static_assert(sizeof(teskk_port_info_t) == 68);
static_assert(sizeof(teskk_port_list_t) == 1432);
static_assert(sizeof(teskk_vlan_info_t) == 8);
static_assert(sizeof(teskk_vlan_list_t) == 124);
static_assert(sizeof(teskk_port_counters_t) == 20);
#ifdef __powerpc__
static_assert(TESKK_ADD_OR_UPDATE_VLANS == 0x807C7300);
static_assert(TESKK_DEL_VLAN == 0x80027301);
static_assert(TESKK_ADD_OR_UPDATE_PORTS == 0x85987302);
static_assert(TESKK_DEL_PORT == 0x80047303);
static_assert(TESKK_GET_PORT_COUNTERS == 0x40147304);
#endif
#endif
