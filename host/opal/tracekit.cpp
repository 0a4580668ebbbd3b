#include "opal/tracekit.h"

#include <errno.h>

#include "host/opal/queue.h"
#include "host/opal/trace_switches.h"

using namespace opal;

const tracekit_syslog_facility_t *tracekit_sys_facility = nullptr;
const char *tracekit_dbg_modname = program_invocation_short_name;

namespace {

constexpr std::uint32_t tracekit_version = 1;
constexpr std::uint32_t kvs_value_max = 256;

/// What the program has registered.
struct Facility {
  std::uint32_t categories_end = trace::first_category;
  kvs_service_t store = 0;
  bool saved_prints_pending = false;
  // Allocated by the program and kept for the life of the process: nothing here is destroyed before it ends.
  tracekit_context_t *debug_context = nullptr;
  tracekit_context_t *syslog_context = nullptr;
};

Facility &facility() {
  static Facility the_facility;
  return the_facility;
}

bool is_usable(const tracekit_context_t *context) {
  return context != nullptr && context->value != nullptr && context->size == sizeof *context->value;
}

/// Applies the saved switches. @param prints false leaves the printing switches unchanged
void apply_saved(bool prints) {
  for (std::uint32_t category = trace::first_category; category < facility().categories_end; ++category) {
    const std::optional<trace::SavedSwitch> saved = trace::load_switch(facility().store, category);
    if (!saved) continue;
    trace::set_recorded(category, saved->record != 0);
    if (prints) trace::set_printed(category, saved->print != 0);
  }
}

void apply_pending_prints() {
  if (!facility().saved_prints_pending) return;
  facility().saved_prints_pending = false;
  apply_saved(true);
}

rcode_t switch_category(const bus::Message &message) {
  const std::optional<bus::TraceSwitch> wanted = bus::record_of<bus::TraceSwitch>(message.payload);
  if (!wanted || wanted->category < trace::first_category || wanted->category >= facility().categories_end ||
      wanted->print > 1 || wanted->record > 1)
    return RCODE_INVALID;
  trace::set_printed(wanted->category, wanted->print == 1);
  trace::set_recorded(wanted->category, wanted->record == 1);
  if (facility().store == 0) return RCODE_SUCCESS;
  const trace::SavedSwitch saved{static_cast<std::uint8_t>(wanted->print),
                                 static_cast<std::uint8_t>(wanted->record)};
  const rcode_t rcode = trace::save_switch(facility().store, wanted->category, saved);
  if (rcode != RCODE_SUCCESS)
    trace::report_failure(std::string("trace switch not saved: ") + rcode2str(rcode));
  return rcode;
}

}  // namespace

int tracekit_dbg_init(qbus_queue_t queue, const char *name, const char *title, uint32_t element_count,
                      const char *const *descriptions, uint32_t version, kvs_service_t store,
                      tracekit_context_t *context) {
  const bool named = name != nullptr && title != nullptr && descriptions != nullptr;
  if (version != tracekit_version || !named || !is_usable(context) || find_queue(queue) == nullptr ||
      element_count > trace::category_end - trace::first_category)
    return static_cast<int>(RCODE_INVALID);
  tracekit_dbg_modname = name;
  facility().categories_end = trace::first_category + element_count;
  facility().store = store;
  facility().debug_context = context;
  trace::switches.not_printed.fill(1);
  apply_saved(false);
  facility().saved_prints_pending = true;
  return 0;
}

int tracekit_sys_init_helper(qbus_queue_t queue, const char *name, const char *title,
                             uint32_t facility_number, uint32_t version, kvs_service_t,
                             tracekit_context_t *context) {
  const bool known = tracekit_sys_facility != nullptr && tracekit_sys_facility->fac_num == facility_number;
  if (version != tracekit_version || name == nullptr || title == nullptr || !known || !is_usable(context) ||
      find_queue(queue) == nullptr)
    return static_cast<int>(RCODE_INVALID);
  facility().syslog_context = context;
  return 0;
}

void tracekit_dbg_enable(uint32_t category) { trace::set_printed(category, true); }

void tracekit_dbg_disable(uint32_t category) { trace::set_printed(category, false); }

int tracekit_hist_event_subtype_check(uint32_t, uint32_t category) {
  return category < trace::category_end ? trace::switches.not_recorded[category] : 1;
}

tracekit_check_t tracekit_chk_int(uint32_t category, uint32_t, uint32_t, uint32_t) {
  trace::switches.last_asked = category;
  return {category < trace::category_end && trace::switches.not_printed[category] == 0 ? 1u : 0u, category};
}

uint32_t tracekit_get_max_kvsvalue(void) { return kvs_value_max; }

int tracekit_process_msg(qbus_queue_t, qbus_msg_ref_t *message) {
  apply_pending_prints();
  const bus::Message *received = received_message(message);
  if (received == nullptr || received->opcode != bus::opcode::trace_switch ||
      received->kind != bus::Kind::request)
    return 1;
  reply_to(message, bus::bytes_of(bus::Result{switch_category(*received)}));
  return 0;
}
