#include "tests/standin/trace.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <optional>
#include <set>

#include "opal/tracekit.h"
#include "tests/standin/memory.h"
#include "tests/standin/script.h"

const tracekit_syslog_facility_t *tracekit_sys_facility = nullptr;
const char *tracekit_dbg_modname = "tesk";

namespace standin {

namespace {

struct Trace {
  std::vector<Event> events;
  std::vector<std::string> prints;
  std::set<uint32_t> printed = {102};
  std::vector<void *> kept;  // blocks that the facility took over and the daemon has not freed since
  std::function<void()> look = [] {};
  bool shows_calls = false;
};

Trace the_trace;

std::string shown_context(const tracekit_context_t *context) {
  if (context == nullptr || context->value == nullptr) return "null";
  return "{" + std::to_string(*context->value) + ", size " + std::to_string(context->size) + "}";
}

void keep(tracekit_context_t *context) {
  if (context == nullptr) return;
  the_trace.kept.push_back(context->value);
  the_trace.kept.push_back(context);
}

std::string shown_texts(const char *const *texts, uint32_t count) {
  std::string text;
  for (uint32_t i = 0; i < count; ++i) text += (i == 0 ? "" : ", ") + shown(texts[i]);
  return "{" + text + "}";
}

/** The line of a trace with the text "function(123): message". A bare text has no function. */
Line trace_line(Line::Kind kind, const std::string &text) {
  const size_t open = text.find('(');
  const size_t close = text.find("): ");
  const bool has_place = open != std::string::npos && close != std::string::npos && open < close &&
                         text.find_first_not_of("0123456789", open + 1) == close;
  if (!has_place) return {kind, std::string(), text};
  Line line(kind, text.substr(0, open), text.substr(close + 3));
  line.number = std::stoi(text.substr(open + 1));
  return line;
}

/** Checks that the event is aligned: a facility may read its category as a number. */
void check_alignment(const void *event) {
  if (reinterpret_cast<uintptr_t>(event) % sizeof(uint32_t) != 0)
    ADD_FAILURE() << "a trace event that is not aligned to 4 bytes: " << event;
}

Event event_from(uint32_t code, uint32_t length, const void *bytes) {
  const auto *start = static_cast<const uint8_t *>(bytes);
  Event event{code, 0, Bytes(start, start + length), ""};
  if (length < 5) return event;
  std::memcpy(&event.category, start, sizeof event.category);
  event.text.assign(reinterpret_cast<const char *>(start) + 4, length - 5);
  return event;
}

Line::Kind kind_of(const Event &event) {
  switch (event.category) {
    case 100:
      return Line::Kind::packet;
    case 101:
      return Line::Kind::control;
    default:
      return Line::Kind::error;
  }
}

void check_form(const Event &event) {
  const bool is_known = event.category >= 100 && event.category <= 102;
  const bool is_terminated =
      !event.bytes.empty() && event.bytes.back() == 0 && event.text.find('\0') == std::string::npos;
  if (event.code != 0x730000 || !is_known || !is_terminated)
    ADD_FAILURE() << "a malformed trace event: code " << event.code << ", category " << event.category;
}

}  // namespace

const std::vector<Event> &events() { return the_trace.events; }
const std::vector<std::string> &prints() { return the_trace.prints; }
void while_recording(std::function<void()> look) { the_trace.look = std::move(look); }
void show_trace_calls() { the_trace.shows_calls = true; }
bool is_printed(uint32_t category) { return the_trace.printed.contains(category); }

void reset_trace() {
  for (void *block : the_trace.kept) release_kept(block);
  the_trace = {};
  tracekit_sys_facility = nullptr;
  tracekit_dbg_modname = "tesk";
}

}  // namespace standin

using namespace standin;

int tracekit_dbg_init(qbus_queue_t queue, const char *name, const char *title, uint32_t element_count,
                      const char *const *descriptions, uint32_t version, kvs_service_t store,
                      tracekit_context_t *context) {
  keep(context);
  return call("tracekit_dbg_init", queue, name, title, element_count,
              shown_texts(descriptions, element_count), version, store, shown_context(context))
      .returns(0);
}

int tracekit_sys_init_helper(qbus_queue_t queue, const char *name, const char *title, uint32_t facility,
                             uint32_t version, kvs_service_t store, tracekit_context_t *context) {
  keep(context);
  return call("tracekit_sys_init_helper", queue, name, title, facility, version, store,
              shown_context(context))
      .returns(0);
}

int tracekit_hist_init(uint32_t size) { return call("tracekit_hist_init", hex(size)).returns(0); }

int tracekit_hist_init_for_uuid(uint32_t uuid, uint32_t size) {
  return call("tracekit_hist_init_for_uuid", uuid, hex(size)).returns(0);
}

void opal_openlog(const char *identity, int options, uint32_t facility) {
  call("opal_openlog", identity, options, facility);
}

void tracekit_dbg_enable(uint32_t category) {
  call("tracekit_dbg_enable", category);
  the_trace.printed.insert(category);
}

void tracekit_dbg_disable(uint32_t category) {
  call("tracekit_dbg_disable", category);
  the_trace.printed.erase(category);
}

int tracekit_hist_event_subtype_check(uint32_t event_code, uint32_t category) {
  if (the_trace.shows_calls) {
    record(
        Line("tracekit_hist_event_subtype_check(" + shown(hex(event_code)) + ", " + shown(category) + ")"));
  }
  return quiet("tracekit_hist_event_subtype_check").returns(0);
}

void tracekit_hist_event(uint32_t event_code, uint32_t length, const void *bytes) {
  note_call("tracekit_hist_event");
  check_alignment(bytes);
  the_trace.look();
  const Event event = event_from(event_code, length, bytes);
  check_form(event);
  the_trace.events.push_back(event);
  const Line line = trace_line(kind_of(event), event.text);
  if (the_trace.shows_calls) {
    record(Line("tracekit_hist_event(" + shown(hex(event_code)) + ", " + line.shown() + ")"));
  } else {
    record(line);
  }
}

tracekit_check_t tracekit_chk_int(uint32_t category, uint32_t instance, uint32_t sub_instance,
                                  uint32_t level) {
  if (the_trace.shows_calls) {
    record(Line("tracekit_chk_int(" + shown(category) + ", " + shown(instance) + ", " + shown(sub_instance) +
                ", " + shown(level) + ")"));
  }
  return {quiet("tracekit_chk_int").returns<uint32_t>(is_printed(category) ? 1 : 0), category};
}

int dbgprint(int level, const char *module, uint32_t flags, const char *format, ...) {
  note_call("dbgprint");
  char text[2048];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  the_trace.prints.emplace_back(text);
  if (the_trace.shows_calls) {
    record(Line("dbgprint(" + shown(level) + ", " + shown(module) + ", " + shown(flags) + ", " +
                trace_line(Line::Kind::call, text).shown() + ")"));
  }
  return length;
}

uint32_t tracekit_get_max_kvsvalue(void) { return quiet("tracekit_get_max_kvsvalue").returns(2048u); }

int tracekit_process_msg(qbus_queue_t queue, qbus_msg_ref_t *message) {
  return call("tracekit_process_msg", queue, "message " + shown(hex(qbus_opc_get(message)))).returns(1);
}
