/* What every file of the daemon shares: who the process is, which board it runs on, which switches its
 * command line moves, and the result numbers of its own operations.
 *
 * tesk carries two classes of VLAN traffic in software between the management module and the devices
 * behind the switch's downlink ports: the SoL VLAN, a constant, and up to 14 CIN VLANs, configured by the
 * operator. It is one process with one thread; every handler runs to completion inside the one loop of
 * tesk_main.cpp, so nothing here is locked, and nothing may wait.
 *
 * Rules of the code: plain records and free functions; heap by malloc and free only; a failure is traced
 * and the event abandoned; whatever bytes arrive, nothing outside a record is read or written. */
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

/** VLAN numbers that may be configured as CIN VLANs, both included, and how many of them at a time. */
enum { TESK_CIN_VLAN_FIRST = 3, TESK_CIN_VLAN_LAST = 4094, TESK_CIN_VLANS_MAX = 14 };

/** Highest VLAN number, and the room that lists of VLANs to announce have. */
enum { TESK_VLAN_LAST = 4095, TESK_VLAN_LIST_MAX = 4094 };

/** Room of a list that a look-up returns. */
enum { TESK_LOOKUP_LIST_MAX = 32 };

/** Chains of every hash table. */
enum { TESK_BUCKETS = 32 };

/** The SoL VLAN, 4095; always in the VLAN table. */
extern const uint16_t sol_vlan;

/** True on the vorlund board: 14 ports with uplinks among them, and management port 1. */
extern boolean vorlund_platform;

/** True while the operator has switched the relay off. */
extern boolean tesk_l2switch_disable;

/** True once the heartbeat timer has sent its one heartbeat. */
extern boolean tesk_overseer_hbt_sent;

/** True once the loop has traced that it cannot serve a descriptor. */
extern boolean tesk_descriptor_refused;

/** True once both relay sockets are bound. */
extern boolean tesk_l2_init_done;
