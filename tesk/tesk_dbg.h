/* Tracing. Every diagnostic of the daemon goes through tesk_trace: into the platform's bounded history,
 * readable from outside the process, and, for a category whose printing is on, onto the console.
 *
 * A trace is made with TESK_PKT, TESK_CTRL or TESK_ERR, which add the calling function and the line. A
 * text whose operands begin with the function's name says so itself ("%s: …", __func__). A function that
 * traces on behalf of the operation that it is a part of takes that operation's name as `caller` and uses
 * the _AS forms, so that the history names operations and not how they are cut into functions.
 *
 * A trace costs one bounded format even when nothing is recorded; it allocates nothing, never fails, and
 * must not be issued from a signal handler. */
#pragma once

#include "opal/tracekit.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_format.h"

/** Categories, also the facility's event subtypes. */
enum { TESK_TRACE_PKT = 100, TESK_TRACE_CTRL = 101, TESK_TRACE_ERR = 102 };

/** Service identity in the trace history, and the event code made of it. */
enum { TESK_TRACE_UUID = 115, TESK_TRACE_EVENT = TESK_TRACE_UUID << 16 };

enum { TESK_TRACE_BUF_BYTES = 1024, TESK_TRACE_TEXT_BYTES = 512, TESK_TRACE_ELEMENTS = 3 };

/** What is shown of a function's name in the history, and room for it and a line number. */
enum { TESK_TRACE_FUNCTION_MAX = 64, TESK_TRACE_PREFIX_BYTES = TESK_TRACE_FUNCTION_MAX + 16 };

/** One event of the history; only the text up to its NUL is handed over. */
typedef struct tesk_trace_event {
  uint32_t category;
  char text[TESK_TRACE_TEXT_BYTES];
} tesk_trace_event_t;

/** The last message and, in front of it, room for what makes it an event of the history: a category of 32
 * bits and the text of a place, which end where the message begins. So an event is put together where its
 * message already stands, and only the history copies it: two are made for each relayed frame. */
typedef struct tesk_trace_line {
  char front[TESK_TRACE_PREFIX_BYTES + 16];
  char message[TESK_TRACE_BUF_BYTES];
} tesk_trace_line_t;
static_assert(sizeof(tesk_trace_line_t::front) >= sizeof(uint32_t) + TESK_TRACE_PREFIX_BYTES);
extern tesk_trace_line_t tesk_trace_line;

/** The last message, without its function and line. */
inline constexpr char (&tesk_trace_buf)[TESK_TRACE_BUF_BYTES] = tesk_trace_line.message;

/** Descriptions of the categories in the order packet, control, error. */
extern const char *const tesk_dbg_elem_desc[TESK_TRACE_ELEMENTS];

/** What the debug command was last told about packet and control traces; tracing does not read them. */
extern boolean tesk_dbg_pkt;
extern boolean tesk_dbg_ctrl;

/**
 * Sets the trace facility up: history, debug categories, syslog. Leaves only errors printed.
 * @return true, or false when the facility refuses or memory is short; the reason is on standard output
 */
boolean tesk_init_tracekit();

/** Where a trace stands. Its part of an event's text is put together by the compiler: an event is recorded
 * twice for every relayed frame. */
typedef struct tesk_trace_place {
  const char *function;
  int line;
  uint32_t prefix_length;
  char prefix[TESK_TRACE_PREFIX_BYTES]; /**< ends with "function(line): ", without a NUL */
} tesk_trace_place_t;

/** @param function of at most 64 characters; more of them are not shown in the history */
constexpr tesk_trace_place_t tesk_trace_place_of(const char *function, int line) {
  tesk_trace_place_t place = {.function = function, .line = line, .prefix_length = 0, .prefix = {}};
  const auto prepend = [&place](char character) {
    place.prefix[TESK_TRACE_PREFIX_BYTES - ++place.prefix_length] = character;
  };
  for (const char end : {' ', ':', ')'}) {
    prepend(end);
  }
  do {
    prepend((char)('0' + line % 10));
    line /= 10;
  } while (line > 0);
  prepend('(');
  int length = 0;
  while (length < TESK_TRACE_FUNCTION_MAX && function[length] != '\0') {
    length++;
  }
  while (length > 0) {
    prepend(function[--length]);
  }
  return place;
}

/** Records and prints the message in tesk_trace_buf, each if the category asks for it. */
void tesk_trace_message(uint32_t category, const tesk_trace_place_t *place, size_t length);

/** Traces one message. Use the macros below. Inlined, so that the length of __func__ is known and the frame
 * path makes no calls for its texts. */
template <tesk_format_text Format, class... Arguments>
[[gnu::always_inline]] inline void tesk_trace(uint32_t category, const tesk_trace_place_t *place,
                                              const Arguments &...arguments) {
  const size_t length = tesk_format<Format>(tesk_trace_buf, sizeof tesk_trace_buf, arguments...);
  tesk_trace_message(category, place, length);
}

/** Records a fixed text without function and line, if the category is recorded. */
void tesk_trace_record_bare(uint32_t category, const char *text);

/** @return true when the category is printed at once */
boolean tesk_trace_is_printed(uint32_t category);

/** @return the text, or a readable stand-in for a platform's null string */
static inline const char *tesk_trace_text(const char *text) { return text == nullptr ? "(null)" : text; }

#define TESK_TRACE(category, format, ...)                                                \
  do {                                                                                   \
    static constexpr tesk_trace_place_t place = tesk_trace_place_of(__func__, __LINE__); \
    tesk_trace<format>(category, &place __VA_OPT__(, ) __VA_ARGS__);                     \
  } while (0)
#define TESK_TRACE_AS(category, caller, format, ...)                        \
  do {                                                                      \
    const tesk_trace_place_t place = tesk_trace_place_of(caller, __LINE__); \
    tesk_trace<format>(category, &place __VA_OPT__(, ) __VA_ARGS__);        \
  } while (0)

#define TESK_PKT(...) TESK_TRACE(TESK_TRACE_PKT, __VA_ARGS__)
#define TESK_CTRL(...) TESK_TRACE(TESK_TRACE_CTRL, __VA_ARGS__)
#define TESK_ERR(...) TESK_TRACE(TESK_TRACE_ERR, __VA_ARGS__)
#define TESK_PKT_AS(caller, ...) TESK_TRACE_AS(TESK_TRACE_PKT, caller, __VA_ARGS__)
#define TESK_CTRL_AS(caller, ...) TESK_TRACE_AS(TESK_TRACE_CTRL, caller, __VA_ARGS__)
#define TESK_ERR_AS(caller, ...) TESK_TRACE_AS(TESK_TRACE_ERR, caller, __VA_ARGS__)

/** Records and prints a fixed text, a literal, without function and line. */
#define TESK_TRACE_BARE(category, text)                 \
  do {                                                  \
    tesk_trace_record_bare(category, text);             \
    if (tesk_trace_is_printed(category)) {              \
      (void)dbgprint(1, tracekit_dbg_modname, 0, text); \
    }                                                   \
  } while (0)
