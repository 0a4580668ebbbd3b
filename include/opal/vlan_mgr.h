/* VLAN manager: which VLANs exist, and which features use them. */
#pragma once

#include "opal/qbus.h"
#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
  QBUS_OPC_VLAN_MGR_VLANS_DELETED = 0x5C22,
  QBUS_OPC_VLAN_FEAT_CREATE = 0x5C2D,
  QBUS_OPC_VLAN_FEAT_DELETE = 0x5C2E
};

/** Where feature messages go. */
enum { QBUS_SAP_VLAN_MGR = 167 };
#define QBUS_NODE_VLAN_MGR 0xFE000000u

/** Feature numbers: bits of a vlan_feat_map_t. */
enum { VLAN_FEAT_PRIVATE = 2, VLAN_FEAT_STORAGE = 3, VLAN_FEAT_CIN = 4 };

/** A set of features, a bit set (bitset.h) of 16 words; `size` is always 64. */
typedef struct vlan_feat_map {
  int32_t size;
  uint8_t bits[64];
} vlan_feat_map_t;

/** One deleted VLAN. */
typedef struct vlan_delete_notif_local {
  uint16_t bd; /**< bridge-domain id */
  vlan_id_t vlan_id;
  uint32_t delete_reason;
} __attribute__((packed)) vlan_delete_notif_local_t;

/**
 * Parses a deletion notice.
 * @param records receives heap memory that the caller frees with free()
 * @param count receives the number of records
 * @return 0, or a result code; the outputs are then null and 0
 */
rcode_t vlan_mgr_parse_notification_msg_local(const qbus_msg_ref_t *message,
                                              vlan_delete_notif_local_t **records, uint32_t *count);

/**
 * Builds the payload that sets or unsets a feature in VLANs.
 * @param count entries in `vlans`
 * @param feature its number
 * @param payload receives heap memory that the caller frees with free(), or null
 * @param length receives its bytes
 * @return 0, or an errno
 */
int vlan_feat_create_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length);
int vlan_feat_delete_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length);

/**
 * Asks whether a VLAN is free of the given features.
 * @param vdc virtual device context: 1
 * @param features those that must not be on the VLAN
 * @return non-zero when the VLAN may take the feature, 0 when not or when the manager does not answer
 */
int vlan_mgr_check_feat(uint32_t vdc, vlan_id_t vlan, const vlan_feat_map_t *features);

#ifdef __cplusplus
}
#endif
