/* Scalar types that every platform service shares. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The platform's truth value: 0 is false, anything else is true. */
typedef uint32_t boolean;

/** Interface index of a physical port, a port-channel or a management port; see if_index.h. */
typedef uint32_t if_index_t;

/** Interface type code, the kind of thing that an interface index names; see if_index.h. */
typedef uint8_t if_index_type_t;

/** Interface ordinal: a small dense number that the interface manager gives each interface. */
typedef uint32_t if_ordinal;

/** VLAN number, 0 to 4095. Signed, because the platform uses negative values for "none". */
typedef int32_t vlan_id_t;

/** An IEEE 802 MAC address in transmission order. */
typedef uint8_t mac_t[6];

/** Port mask or index that the port-index service hands out; see ltlsvc.h. */
typedef uint32_t ltl_t;

#ifdef __cplusplus
}
#endif
