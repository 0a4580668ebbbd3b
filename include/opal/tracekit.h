/* tracekit: trace history, debug prints and syslog.
 *
 * The history is a bounded ring of events per service identity, readable from outside the process at
 * any time. A debug print is one line on the console, for the categories that are switched on. */
#pragma once

#include "opal/kvs.h"
#include "opal/qbus.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One value that the facility keeps for a program: a heap-allocated word and its size. The program
 * allocates both; the facility keeps them for the life of the process once its init succeeded. */
typedef struct tracekit_context {
  uint32_t *value;
  uint32_t size; /**< bytes at `value`: 4 */
} tracekit_context_t;

/** A syslog facility of the program. */
typedef struct tracekit_syslog_facility {
  const char *fac_name;
  uint32_t fac_num;
  uint32_t default_filter;  /**< severity up to which messages are written */
  uint32_t priority_filter; /**< severity up to which messages are written at once */
} tracekit_syslog_facility_t;

/** Answer of tracekit_chk_int. */
typedef struct tracekit_check {
  uint32_t on;      /**< non-zero when the category's printing is on */
  uint32_t element; /**< the category that was asked for */
} tracekit_check_t;

/** The program stores its facility record here before tracekit_sys_init_helper. */
extern const tracekit_syslog_facility_t *tracekit_sys_facility;

/** Name under which debug lines are printed: the service name once tracekit_dbg_init has run, before
 * that the program's name. */
extern const char *tracekit_dbg_modname;

/**
 * Registers the debug categories, numbered from 100 upwards.
 * @param name service name
 * @param title printable service title
 * @param element_count entries in `descriptions`
 * @param descriptions one text per category, kept by reference
 * @param version of the interface: 1
 * @param store open debug store with the saved switches; 0 when there is none
 * @param context holds 0; the facility keeps it
 * @return 0, or a result code
 */
int tracekit_dbg_init(qbus_queue_t queue, const char *name, const char *title, uint32_t element_count,
                      const char *const *descriptions, uint32_t version, kvs_service_t store,
                      tracekit_context_t *context);

/**
 * Registers the syslog side.
 * @param facility syslog facility number of the program
 * @param version of the interface: 1
 * @param store as for tracekit_dbg_init
 * @param context holds 1; the facility keeps it
 * @return 0, or a result code
 */
int tracekit_sys_init_helper(qbus_queue_t queue, const char *name, const char *title, uint32_t facility,
                             uint32_t version, kvs_service_t store, tracekit_context_t *context);

/** Sizes the process-wide history in bytes. @return 0, or a result code */
int tracekit_hist_init(uint32_t size);

/** Sizes the history kept for one service identity in bytes. @return 0, or a result code */
int tracekit_hist_init_for_uuid(uint32_t uuid, uint32_t size);

/**
 * Opens syslog.
 * @param identity printed in front of every message
 * @param options bits of <syslog.h>'s LOG_CONS, LOG_NDELAY …
 * @param facility the program's facility number
 */
void opal_openlog(const char *identity, int options, uint32_t facility);

/** Switches the immediate printing of one category on or off. */
void tracekit_dbg_enable(uint32_t category);
void tracekit_dbg_disable(uint32_t category);

/**
 * Asks whether events of a category are to be recorded.
 * @param event_code service identity shifted left by 16
 * @return 0 when they are, non-zero otherwise
 */
int tracekit_hist_event_subtype_check(uint32_t event_code, uint32_t category);

/**
 * Appends one event to the history; never fails, never waits.
 * @param length bytes at `event`
 * @param event a 32-bit category followed by a NUL-terminated text, aligned to 4 bytes
 */
void tracekit_hist_event(uint32_t event_code, uint32_t length, const void *event);

/** Asks whether a category's printing is on. The other arguments select per-instance switches: 0, 0
 * and 1 ask for the category as a whole. */
tracekit_check_t tracekit_chk_int(uint32_t category, uint32_t instance, uint32_t sub_instance,
                                  uint32_t level);

/**
 * Prints one debug line to the console.
 * @param level 1: unconditionally
 * @param module usually tracekit_dbg_modname
 * @param flags none defined: 0
 * @return characters printed
 */
int dbgprint(int level, const char *module, uint32_t flags, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

/** @return the largest value in bytes that the facility writes to the debug store */
uint32_t tracekit_get_max_kvsvalue(void);

/**
 * Passes a received message to the facility, which handles switches that are set from outside.
 * @return 1 when the message is not the facility's and the program should handle it, else 0
 */
int tracekit_process_msg(qbus_queue_t queue, qbus_msg_ref_t *message);

#ifdef __cplusplus
}
#endif
