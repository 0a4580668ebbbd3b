/* chanagg: the port-channel service. */
#pragma once

#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { CHANAGG_MEMBERS = 32 };

typedef struct chanagg_pc_info {
  if_index_t fop_ifindex;             /**< first operational port; 0 when no member is up */
  uint32_t member_count;              /**< entries in `member` */
  if_index_t member[CHANAGG_MEMBERS]; /**< in the order in which they joined */
} chanagg_pc_info_t;

/** @param info filled on success @return 0, or a result code within the library's timeout */
rcode_t chanagg_get_pc_info(if_index_t port_channel, chanagg_pc_info_t *info);

#ifdef __cplusplus
}
#endif
