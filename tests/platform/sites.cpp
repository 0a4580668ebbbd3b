#include "tests/platform/sites.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <set>

#include "tests/platform/text.h"

namespace standin {

namespace {

enum class Failure { never, not_zero, zero, not_one, minus_one, negative };

struct Rule {
  std::string_view operation;
  Failure failure;
};

// Every operation that is not listed fails with anything but 0.
constexpr Rule rules[] = {
    {"abort", Failure::never},
    {"bind", Failure::minus_one},
    {"bitset_clear", Failure::never},
    {"bitset_clear_bit", Failure::never},
    {"bitset_copy", Failure::never},
    {"bitset_first_bit", Failure::never},
    {"bitset_is_bit_set", Failure::never},
    {"bitset_is_range_free", Failure::never},
    {"bitset_next_bit", Failure::never},
    {"bitset_set_bit", Failure::never},
    {"bitset_snprintf", Failure::never},
    {"calloc", Failure::zero},
    {"cmd_mrange_create", Failure::zero},
    {"cmd_req_action_is_del", Failure::never},
    {"cmd_req_cmdId_getnext", Failure::zero},
    {"cmd_req_handle_get_1", Failure::never},
    {"cmd_req_handle_get_2", Failure::zero},
    {"cmd_rsp_init", Failure::zero},
    {"dbgprint", Failure::never},
    {"exit", Failure::never},
    {"fcntl", Failure::minus_one},
    {"free", Failure::never},
    {"get_platform_runtime_index", Failure::never},
    {"if_index_get_num_ports_in_if_index_range", Failure::zero},
    {"ioctl", Failure::minus_one},
    {"kvs_create", Failure::zero},
    {"kvs_fetch", Failure::zero},
    {"kvs_move2location", Failure::zero},
    {"kvs_open", Failure::zero},
    {"malloc", Failure::zero},
    {"opal_openlog", Failure::never},
    {"open", Failure::minus_one},
    {"overseer_conditional_srv_was_handshake_done", Failure::zero},
    {"overseer_dispatch", Failure::never},
    {"overseer_file_prefix_get", Failure::never},
    {"overseer_heartbeat_timeout_get", Failure::never},
    {"overseer_running_cfg_uri_get", Failure::zero},
    {"overseer_startup_cfg_uri_get", Failure::zero},
    {"overseer_uri_complete", Failure::never},
    {"portsvc_is_ifindex_present", Failure::not_one},
    {"qbus_bind", Failure::minus_one},
    {"qbus_errno_get", Failure::never},
    {"qbus_is_response", Failure::never},
    {"qbus_opc_get", Failure::never},
    {"qbus_opc_name_get", Failure::never},
    {"qbus_payload_get", Failure::zero},
    {"qbus_payload_size_get", Failure::zero},
    {"qbus_rr_token_get", Failure::never},
    {"rcgen_cfg_display_type_get", Failure::never},
    {"rcgen_cfg_type_get", Failure::never},
    {"rcgen_hdl_init", Failure::never},
    {"rcgen_startup_cfg_uri_prefix_get", Failure::never},
    {"rcode2str", Failure::never},
    {"read", Failure::minus_one},
    {"select", Failure::minus_one},
    {"snprintf_if_index", Failure::never},
    {"socket", Failure::minus_one},
    {"timer_new", Failure::zero},
    {"tracekit_chk_int", Failure::never},
    {"tracekit_dbg_disable", Failure::never},
    {"tracekit_dbg_enable", Failure::never},
    {"tracekit_get_max_kvsvalue", Failure::never},
    {"tracekit_hist_event", Failure::never},
    {"tracekit_process_msg", Failure::never},
    {"vlan_mgr_check_feat", Failure::zero},
    {"write", Failure::negative},
};

Failure failure_of(std::string_view operation) {
  const auto *rule = std::ranges::find(rules, operation, &Rule::operation);
  return rule == std::end(rules) ? Failure::not_zero : rule->failure;
}

bool failed(Failure failure, int64_t result) {
  switch (failure) {
    case Failure::never:
      return false;
    case Failure::not_zero:
      return result != 0;
    case Failure::zero:
      return result == 0;
    case Failure::not_one:
      return result != 1;
    case Failure::minus_one:
      return result == -1;
    case Failure::negative:
      return result < 0;
  }
  return false;
}

struct Call {
  std::string_view operation;
  const void *caller;
  const char *outcome;
  auto operator<=>(const Call &) const = default;
};

struct Trace {
  std::string_view category;
  std::string function;
  int line;
  std::string text;  // only where nothing else tells the site
  auto operator<=>(const Trace &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Call &call) {
  return stream << "call\t" << call.operation << '\t' << call.caller << '\t' << call.outcome;
}

std::ostream &operator<<(std::ostream &stream, const Trace &trace) {
  return stream << "trace\t" << trace.category << '\t' << trace.function << '\t' << trace.line << '\t'
                << escaped(trace.text);
}

/** Facts are gathered in the whole run and written when the last test has ended. */
class Facts : public testing::Environment {
 public:
  bool wanted() const { return path_ != nullptr; }

  void TearDown() override {
    if (!wanted()) return;
    std::ofstream file(path_);
    std::ranges::copy(calls, std::ostream_iterator<Call>(file, "\n"));
    std::ranges::copy(traces, std::ostream_iterator<Trace>(file, "\n"));
    if (!file.flush()) ADD_FAILURE() << path_ << " cannot be written; TESK_SITES names a file to write";
  }

  std::set<Call> calls;
  std::set<Trace> traces;

 private:
  const char *path_ = std::getenv("TESK_SITES");
};

Facts &facts() {
  static auto *const all = new Facts;  // GoogleTest's, and deleted by it
  return *all;
}

[[maybe_unused]] const testing::Environment *const registered = testing::AddGlobalTestEnvironment(&facts());

void add_call(const Operation &operation, const char *outcome) {
  facts().calls.insert({operation.name, operation.caller, outcome});
}

}  // namespace

void note_call(const Operation &operation) {
  if (facts().wanted() && failure_of(operation.name) == Failure::never) add_call(operation, "called");
}

void note_call(const Operation &operation, int64_t result) {
  if (!facts().wanted()) return;
  const Failure failure = failure_of(operation.name);
  if (failure == Failure::never)
    add_call(operation, "called");
  else
    add_call(operation, failed(failure, result) ? "failed" : "succeeded");
}

void note_trace(std::string_view category, const std::string &function, int line, const std::string &text) {
  if (!facts().wanted()) return;
  facts().traces.insert({category, function, line, function.empty() ? text : ""});
}

}  // namespace standin
