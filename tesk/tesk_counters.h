/* The counters of an interface: the kernel module's adapter reads them, the ports collect them, and the shell
 * shows them. */
#pragma once

#include <stdint.h>

/** Counters of one interface. */
typedef struct tesk_cli_sh_stat {
  uint32_t tx_pkt_ucast;
  uint32_t tx_pkt_mcast;
  uint32_t rx_pkt_ucast;
  uint32_t rx_pkt_mcast;
  uint32_t if_idx;
} tesk_cli_sh_stat_t;

/** Maximum number of records in the answer to one show counters command. */
enum { TESK_CLI_STATS_MAX = 21 };
