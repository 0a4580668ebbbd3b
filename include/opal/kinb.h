/* kinb: the in-band driver's library. It tells the ASIC which VLANs' frames go to the CPU. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Prepares the library. @return 0, or an error code */
int kinb_libinit(void);

/** Classifies a VLAN's frames to the CPU. @return 0, or an error code within the library's timeout */
int kinb_tesk_vlan_add(vlan_id_t vlan);

/** Ends the classification of a VLAN's frames. @return 0, or an error code within the library's timeout */
int kinb_tesk_vlan_del(vlan_id_t vlan);

#ifdef __cplusplus
}
#endif
