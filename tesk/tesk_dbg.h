/* Tracing. Every diagnostic of the daemon goes through tesk_trace. It records the text in the platform's
 * bounded history, which other processes can read. If printing is on for the category, it also prints the
 * text on the console.
 *
 * Trace with TESK_PKT, TESK_CTRL or TESK_ERR: they add the calling function and the line. If a text itself
 * begins with the function's name, pass the name as an argument ("%s: …", __func__).
 *
 * The history names operations, not the helper functions that an operation consists of. So a helper takes the
 * place of its call as the last argument, which the compiler fills in, and traces with the _AT forms:
 *
 *     boolean part_of_it(int number, tesk_place_t place = tesk_here());
 *
 * A trace formats one text of limited length, even when nothing is recorded. It allocates nothing and never
 * fails. Do not trace from a signal handler.
 *
 *   tesk_trace.cpp       one trace
 *   tesk_trace_init.cpp  starting the trace facility */
#pragma once

#include "opal/tracekit.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_format.h"

/** Categories, also the facility's event subtypes. */
enum { TESK_TRACE_PKT = 100, TESK_TRACE_CTRL = 101, TESK_TRACE_ERR = 102 };

/** Service identity in the trace history, and the event code made of it. */
enum { TESK_TRACE_UUID = 115, TESK_TRACE_EVENT = TESK_TRACE_UUID << 16 };

enum { TESK_TRACE_BUF_BYTES = 1024, TESK_TRACE_TEXT_BYTES = 512, TESK_TRACE_ELEMENTS = 3 };

/** One event of the history. The daemon passes on only the text up to its NUL. */
typedef struct tesk_trace_event {
  uint32_t category;
  char text[TESK_TRACE_TEXT_BYTES];
} tesk_trace_event_t;

/** The last message, without its function and line. */
extern char tesk_trace_buf[TESK_TRACE_BUF_BYTES];

/** Descriptions of the categories in the order packet, control, error. */
extern const char *const tesk_dbg_elem_desc[TESK_TRACE_ELEMENTS];

/** Last setting of packet and control traces by the debug command. Tracing does not read them. */
extern boolean tesk_dbg_pkt;
extern boolean tesk_dbg_ctrl;

/**
 * Sets up the trace facility: history, debug categories, syslog. Afterwards only errors are printed.
 * @return true, or false when the facility refuses or memory is short; the reason is on standard output
 */
boolean tesk_init_tracekit();

/** The operation that a trace names, and a line in it. */
typedef struct tesk_place {
  const char *function;
  int line;
} tesk_place_t;

/** @return the place of the call; as a default argument, the place of the call that leaves the argument
 * out */
constexpr tesk_place_t tesk_here(const char *function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  return {.function = function, .line = line};
}

/** Capacity for "function(line): ", which the compiler builds, and the length that means no prefix. */
enum { TESK_TRACE_PREFIX_BYTES = 64, TESK_TRACE_NO_PREFIX = TESK_TRACE_PREFIX_BYTES + 1 };

/** A place with its prefix of an event's text, built in advance: each relayed frame records two events. */
typedef struct tesk_trace_site {
  tesk_place_t place;
  uint32_t prefix_length;               /**< or TESK_TRACE_NO_PREFIX */
  char prefix[TESK_TRACE_PREFIX_BYTES]; /**< "function(line): ", without a NUL */
} tesk_trace_site_t;

/** @return the site of a place, with its prefix if the prefix fits */
constexpr tesk_trace_site_t tesk_trace_site_of(tesk_place_t place) {
  tesk_trace_site_t site = {.place = place, .prefix_length = 0, .prefix = {}};
  uint32_t length = 0;
  const auto append = [&site, &length](char character) {
    if (length < TESK_TRACE_PREFIX_BYTES) {
      site.prefix[length] = character;
    }
    length++;
  };
  for (const char *character = place.function; *character != '\0'; character++) {
    append(*character);
  }
  append('(');
  int unit = 1;
  while (unit <= place.line / 10) {
    unit *= 10;
  }
  for (; unit > 0; unit /= 10) {
    append((char)('0' + place.line / unit % 10));
  }
  for (const char end : {')', ':', ' '}) {
    append(end);
  }
  site.prefix_length = length <= TESK_TRACE_PREFIX_BYTES ? length : (uint32_t)TESK_TRACE_NO_PREFIX;
  return site;
}

/** Records the message in tesk_trace_buf and prints it, each only if it is on for the category. */
void tesk_trace_message(uint32_t category, const tesk_trace_site_t *site, size_t length);

/** Traces one message. Use the macros below. Inlined so that the compiler knows the length of __func__, and
 * the frame path makes no calls to copy its texts. */
template <tesk_format_text Format, class... Arguments>
[[gnu::always_inline]] inline void tesk_trace(uint32_t category, const tesk_trace_site_t *site,
                                              const Arguments &...arguments) {
  const size_t length = tesk_format<Format>(tesk_trace_buf, sizeof tesk_trace_buf, arguments...);
  tesk_trace_message(category, site, length);
}

/** Records a fixed text without function and line, if the category is recorded. */
void tesk_trace_record_bare(uint32_t category, const char *text);

/** @return true when the category is printed on the console */
boolean tesk_trace_is_printed(uint32_t category);

/** @return the text, or "(null)" for a null string from the platform */
static inline const char *tesk_trace_text(const char *text) { return text == nullptr ? "(null)" : text; }

#define TESK_TRACE(category, format, ...)                                               \
  do {                                                                                  \
    static constexpr tesk_trace_site_t site = tesk_trace_site_of({__func__, __LINE__}); \
    tesk_trace<format>(category, &site __VA_OPT__(, ) __VA_ARGS__);                     \
  } while (0)
#define TESK_TRACE_AT(category, its_place, format, ...)             \
  do {                                                              \
    tesk_trace_site_t site;                                         \
    site.place = its_place;                                         \
    site.prefix_length = TESK_TRACE_NO_PREFIX;                      \
    tesk_trace<format>(category, &site __VA_OPT__(, ) __VA_ARGS__); \
  } while (0)

#define TESK_PKT(...) TESK_TRACE(TESK_TRACE_PKT, __VA_ARGS__)
#define TESK_CTRL(...) TESK_TRACE(TESK_TRACE_CTRL, __VA_ARGS__)
#define TESK_ERR(...) TESK_TRACE(TESK_TRACE_ERR, __VA_ARGS__)
#define TESK_PKT_AT(place, ...) TESK_TRACE_AT(TESK_TRACE_PKT, place, __VA_ARGS__)
#define TESK_CTRL_AT(place, ...) TESK_TRACE_AT(TESK_TRACE_CTRL, place, __VA_ARGS__)
#define TESK_ERR_AT(place, ...) TESK_TRACE_AT(TESK_TRACE_ERR, place, __VA_ARGS__)

/** Records and prints a string literal without function and line. */
#define TESK_TRACE_BARE(category, text)                 \
  do {                                                  \
    tesk_trace_record_bare(category, text);             \
    if (tesk_trace_is_printed(category)) {              \
      (void)dbgprint(1, tracekit_dbg_modname, 0, text); \
    }                                                   \
  } while (0)
