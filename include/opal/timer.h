/* Timers that expire between messages. An expiry makes the program's queue readable. The callback runs
 * when the program passes the expiry's message to overseer_dispatch, never inside a handler. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** 0 is no timer. */
typedef uint32_t timer_handle_t;

typedef void (*timer_callback_t)(void *user_data);

/**
 * Prepares the library.
 * @param count timers that the program will need
 * @param tick_ms resolution in milliseconds
 * @return 0, or a result code
 */
int timer_module_init(uint32_t count, uint32_t tick_ms);

/**
 * Makes a stopped timer.
 * @param seconds period; 0 expires once per tick
 * @param periodic 1 restarts at every expiry, 0 expires once
 * @param user_data passed to the callback; owned by the caller
 * @return the timer, 0 when there is no room
 */
timer_handle_t timer_new(uint32_t seconds, int periodic, timer_callback_t callback, void *user_data);

/** @return 0, or a result code for a handle that is not a timer */
int timer_start(timer_handle_t timer);

#ifdef __cplusplus
}
#endif
