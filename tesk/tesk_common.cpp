#include "tesk/tesk_common.h"

const uint16_t sol_vlan = 4095;
boolean vorlund_platform = false;
boolean tesk_l2switch_disable = false;
boolean tesk_overseer_hbt_sent = false;
boolean tesk_descriptor_refused = false;
