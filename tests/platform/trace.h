/* The trace facility.
 *
 * Every event of the history becomes a trace line of the record: "function(line): text" is split; the
 * line number is kept aside. The events are also kept byte for byte, and so are the debug prints, because the
 * facility's own tests look at them. With show_trace_calls() the checks, events and prints themselves
 * become lines too, each in its place. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/platform/system.h"

namespace standin {

/** One event of the history as it was handed over. */
struct Event {
  uint32_t code;
  uint32_t category;
  Bytes bytes;
  std::string text; /**< without the NUL */
};

const std::vector<Event> &events();

/** Looks at the daemon while each event is handed over. */
void while_recording(std::function<void()> look);

/** The texts of the debug prints. */
const std::vector<std::string> &prints();

/** Records "tracekit_hist_event_subtype_check(…)", "tracekit_hist_event(…)", "tracekit_chk_int(…)" and
 * "dbgprint(…)" as lines instead of the trace lines. */
void show_trace_calls();

/** Whether the immediate printing of a category is on; as at start, only 102 is. */
bool is_printed(uint32_t category);

void reset_trace();

}  // namespace standin
