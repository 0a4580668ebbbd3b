/* Board information. */
#pragma once

#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Identity of the switch module. */
typedef struct card_module_info {
  uint8_t procType;
  uint8_t card_type;
  uint16_t swCardId; /**< 82, or 83 for the vorlund board */
  uint8_t mod_status;
  uint8_t switch_hw_arch;
} card_module_info_t;

/** Run-time parameters of one board. */
typedef struct platform_runtime_param {
  uint32_t start_port;     /**< number of the first front port */
  const char *name;        /**< Linux device of management port 0 */
  uint32_t tot_mgmt_ports; /**< management ports on the board */
  const char *name2;       /**< Linux device of management port 1 */
} platform_runtime_param_t;

/** One row for each board, in the order of get_platform_runtime_index. */
extern const platform_runtime_param_t platform_runtime_param_array[];

/** @param info filled on success @return 0, or a result code */
int get_card_module_info(card_module_info_t *info);

/** @return this board's row of platform_runtime_param_array; always a valid row */
uint32_t get_platform_runtime_index(void);

#ifdef __cplusplus
}
#endif
