/* capreg: the feature registry. */
#pragma once

#include "opal/qbus.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Announces a feature's state.
 * @param feature its name
 * @param enabled 1 for up, 0 for down
 * @param reason 0 for none
 * @return 0, or a result code
 */
int capreg_notify_feature_status(qbus_queue_t queue, const char *feature, uint32_t enabled, uint32_t reason);

#ifdef __cplusplus
}
#endif
