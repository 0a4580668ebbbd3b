/* Shared by every file of the daemon: the identity of the process, the board that it runs on, the flags that
 * commands set, and the result codes of the daemon's own operations.
 *
 * tesk relays two classes of VLAN traffic in software. The traffic runs between the management module (AMM)
 * and the devices behind the switch's downlink ports. One class is the SoL (serial over LAN) VLAN, whose
 * number is fixed. The other is up to 14 CIN (chassis internal network) VLANs, which the operator configures.
 * The daemon is one process with one thread. Every handler runs to completion inside the loop of
 * tesk_main.cpp, so the code needs no locks, and no handler may block.
 *
 * Rules of the code: use plain records and free functions. Allocate heap memory with malloc and free only.
 * Trace a failure and abandon the event. Never read or write outside a record, whatever bytes arrive.
 *
 * docs/glossary.md explains the terms and abbreviations. */
#pragma once

#include <stdint.h>

#include "opal/qbus.h"
#include "opal/types.h"

/** Identity towards the platform. */
enum { TESK_UUID = 738, QBUS_SAP_TESK = 721 };

/** Boards that the program runs on, by card id. */
enum { TESK_CARD_STANDARD = 82, TESK_CARD_VORLUND = 83 };

/** Results of the daemon's own operations; the platform's own codes pass through unchanged. */
enum {
  TESK_RC_SUCCESS = 0,
  TESK_RC_NO_MEMORY = 1,
  TESK_RC_VERSION = 2, /**< a store was written by another version */
  TESK_RC_FAILURE = 5, /**< invalid argument, or refused by the kernel module */
  TESK_RC_NO_PORT = 6, /**< no such port context */
  TESK_RC_SOCKET = 8   /**< a relay socket could not be set up */
};

/** First and last VLAN number that may be a CIN VLAN, and the most CIN VLANs at a time. */
enum { TESK_CIN_VLAN_FIRST = 3, TESK_CIN_VLAN_LAST = 4094, TESK_CIN_VLANS_MAX = 14 };

/** Highest VLAN number, and the capacity of a list of VLANs to announce. */
enum { TESK_VLAN_LAST = 4095, TESK_VLAN_LIST_MAX = 4094 };

/** Capacity of a list that a look-up returns. */
enum { TESK_LOOKUP_LIST_MAX = 32 };

/** Number of chains in each hash table. */
enum { TESK_BUCKETS = 32 };

/** The SoL VLAN, 4095; always in the VLAN table. */
extern const uint16_t sol_vlan;

/** True on the vorlund board, which has 14 ports, some of them uplinks, and management port 1. */
extern boolean vorlund_platform;

/** True while the operator has switched the relay off. */
extern boolean tesk_l2switch_disable;

/** True once the heartbeat timer has sent its one heartbeat. */
extern boolean tesk_overseer_hbt_sent;

/** True once the loop has traced a descriptor that it cannot serve. */
extern boolean tesk_descriptor_refused;

/** True once both relay sockets are bound. */
extern boolean tesk_l2_init_done;
