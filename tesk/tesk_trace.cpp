#include <string.h>

#include "tesk/tesk_dbg.h"

alignas(64) char tesk_trace_buf[TESK_TRACE_BUF_BYTES];

boolean tesk_dbg_pkt = false;
boolean tesk_dbg_ctrl = false;

namespace {

boolean is_recorded(uint32_t category) {
  return tracekit_hist_event_subtype_check(TESK_TRACE_EVENT, category) == 0;
}

void record(const tesk_trace_event_t *event, size_t text_length) {
  tracekit_hist_event(TESK_TRACE_EVENT, (uint32_t)(sizeof event->category + text_length + 1), event);
}

/* A copy of a fixed size up to 32 bytes needs no call. Bytes copied beyond the text are not passed on. */
constexpr size_t block_bytes = 32;
constexpr size_t short_prefix_bytes = 24;
constexpr size_t short_message_bytes = 80;

inline void copy_message(char *to, size_t length) {
  memcpy(to, tesk_trace_buf, block_bytes);
  memcpy(to + block_bytes, tesk_trace_buf + block_bytes, block_bytes);
  if (length >= 2 * block_bytes) {
    memcpy(to + 2 * block_bytes, tesk_trace_buf + 2 * block_bytes, short_message_bytes - 2 * block_bytes);
  }
}

/* @return length of "function(line): " */
size_t put_prefix(char *to, const tesk_trace_site_t *site) {
  if (site->prefix_length <= sizeof site->prefix) {
    memcpy(to, site->prefix, sizeof site->prefix);
    return site->prefix_length;
  }
  return tesk_format<"%s(%d): ">(to, TESK_TRACE_TEXT_BYTES, site->place.function, site->place.line);
}

/* @return length of the text, truncated to its capacity */
[[gnu::noinline]] size_t put_any_text(char *to, const tesk_trace_site_t *site, size_t length) {
  const size_t prefix_length = put_prefix(to, site);
  to += prefix_length;
  const size_t room = TESK_TRACE_TEXT_BYTES - 1 - prefix_length;
  if (length < short_message_bytes && short_message_bytes <= room) {
    copy_message(to, length);
    return prefix_length + length;
  }
  const size_t taken = length < room ? length : room;
  *tesk_put_text(to, tesk_trace_buf, taken) = '\0';
  return prefix_length + taken;
}

/* Each relayed frame records two events. Their function names and messages are short. */
inline void record_message(tesk_trace_event_t *event, const tesk_trace_site_t *site, size_t length) {
  if (site->prefix_length <= short_prefix_bytes && length < short_message_bytes) [[likely]] {
    memcpy(event->text, site->prefix, short_prefix_bytes);
    copy_message(event->text + site->prefix_length, length);
    length += site->prefix_length;
  } else {
    length = put_any_text(event->text, site, length);
  }
  record(event, length);
}

}  // namespace

boolean tesk_trace_is_printed(uint32_t category) { return tracekit_chk_int(category, 0, 0, 1).on != 0; }

[[gnu::flatten]] void tesk_trace_message(uint32_t category, const tesk_trace_site_t *site, size_t length) {
  tesk_trace_event_t event;
  event.category = category;
  if (is_recorded(event.category)) [[likely]] {
    record_message(&event, site, length);
  }
  if (tesk_trace_is_printed(event.category)) [[unlikely]] {
    (void)dbgprint(1, tracekit_dbg_modname, 0, "%s(%d): %s", site->place.function, site->place.line,
                   tesk_trace_buf);
  }
}

void tesk_trace_record_bare(uint32_t category, const char *text) {
  if (is_recorded(category)) {
    tesk_trace_event_t event;
    event.category = category;
    record(&event, tesk_format<"%s">(event.text, sizeof event.text, text));
  }
}
