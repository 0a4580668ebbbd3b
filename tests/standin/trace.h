/* The trace facility.
 *
 * Every event of the history becomes a trace line of the record: "function(line): text" is split, and the
 * line number is kept apart. The events and the debug prints are also kept byte for byte, for the tests of
 * the facility itself. After show_trace_calls() the checks, events and prints are recorded as calls, in
 * their order. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/standin/system.h"

namespace standin {

/** One event of the history as the daemon passed it. */
struct Event {
  uint32_t code;
  uint32_t category;
  Bytes bytes;
  std::string text; /**< without the NUL */
};

const std::vector<Event> &events();

/** Calls `look` during each event, so that a test can inspect the daemon then. */
void while_recording(std::function<void()> look);

/** The texts of the debug prints. */
const std::vector<std::string> &prints();

/** Records "tracekit_hist_event_subtype_check(…)", "tracekit_hist_event(…)", "tracekit_chk_int(…)" and
 * "dbgprint(…)" as lines instead of the trace lines. */
void show_trace_calls();

/** Whether immediate printing of a category is on; at start it is on for 102 only. */
bool is_printed(uint32_t category);

void reset_trace();

}  // namespace standin
