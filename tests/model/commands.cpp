#include <algorithm>

#include "tests/model/model.h"

namespace model {

using standin::hex;
using standin::shown;

namespace {

constexpr uint32_t last_vlan = 4095;
constexpr uint32_t vlan_list_attribute = 0x13030007;
constexpr size_t most_counters = 21;
constexpr size_t longest_list = 32;
constexpr size_t failed_text_bytes = 128;

/** The runs of consecutive VLANs in a set. */
Ranges runs_of(const VlanSet &vlans) {
  Ranges runs;
  for (const uint16_t vlan : vlans) {
    if (!runs.empty() && runs.back().second + 1 == vlan) {
      runs.back().second = vlan;
    } else {
      runs.emplace_back(vlan, vlan);
    }
  }
  return runs;
}

/** The runs as text for people, as many as fit. */
std::string text_of(const VlanSet &vlans) {
  std::string text;
  for (const auto &[first, last] : runs_of(vlans)) {
    std::string run = (text.empty() ? "" : ",") + std::to_string(first);
    if (first != last) run += "-" + std::to_string(last);
    if (text.size() + run.size() >= failed_text_bytes) break;
    text += run;
  }
  return text;
}

std::string named(uint32_t command_id) { return "command " + std::to_string(command_id); }

/** Interface indexes of a range; none if its ends are of different kinds. */
std::vector<uint32_t> interfaces_of(uint32_t lower, uint32_t upper) {
  const uint32_t type = lower >> 24;
  const bool is_known = type == 5 || type == 22 || type == 26;
  std::vector<uint32_t> interfaces;
  if (is_known && lower >> 16 == upper >> 16)
    for (uint32_t interface = lower; interface <= upper; ++interface) interfaces.push_back(interface);
  return interfaces;
}

}  // namespace

void Model::command(const std::function<void()> &serve) {
  message(0x1dff, [&] {
    if (platform_.allocates() && !platform_.matching_refusal("cmd_req_handle_get_2")) {
      serve();
    } else {
      platform_.say("cmd_rsp_send_nok", std::string("null"), 0, "Can't get handle for cli request!!!");
    }
  });
}

/* ---- CIN VLANs ---- */

void Model::happens(const CinCommand &cin) {
  command([&] { configure(cin); });
}

void Model::configure(const CinCommand &cin) {
  const auto nok = [&](const std::string &text) {
    platform_.say("cmd_rsp_send_nok", named(3), 0, text.c_str());
  };
  if (!cin.has_list) return nok("attribute missing: vlan list");
  const auto is_one_vlan = cin.vlans.size() == 1 && cin.vlans[0].first == cin.vlans[0].second;
  if (is_one_vlan && (cin.vlans[0].first < 3 || cin.vlans[0].first > 4094))
    return nok("Invalid CIN VLAN " + std::to_string(static_cast<int32_t>(cin.vlans[0].first)));
  platform_.ask("cmd_mrange_create", hex(vlan_list_attribute));

  const std::string all_failed =
      cin.is_no_form ? "Failed to delete CIN VLAN(s)\n" : "Failed to configure as CIN VLAN(s)\n";
  const bool first_map = platform_.allocates();
  const bool second_map = platform_.allocates();
  if (!first_map || !second_map) return nok(all_failed);

  std::vector<int32_t> done;
  VlanSet failed;
  bool has_failures = false;
  for (const auto &[lower, upper] : cin.vlans) {
    if (upper >= lower && upper > last_vlan) has_failures = true;  // none of the run is tried
    for (uint32_t vlan = lower; vlan <= std::min(upper, last_vlan); ++vlan) {
      const bool is_done =
          cin.is_no_form ? delete_cin_vlan(vlan)
                         : platform_.ask("vlan_mgr_check_feat", 1, vlan, std::string("{2 3}")) == nullptr &&
                               add_cin_vlan(vlan);
      if (is_done) {
        done.push_back(static_cast<int32_t>(vlan));
      } else {
        failed.insert(static_cast<uint16_t>(vlan));
      }
    }
  }
  has_failures = has_failures || !failed.empty();
  if (!done.empty()) platform_.send_feature(!cin.is_no_form, done);
  if (!has_failures) {
    platform_.say("cmd_rsp_send_ok", named(3));
  } else if (done.empty()) {
    nok(all_failed);
  } else {
    answer_partly(cin, failed);
  }
}

/* The answer lists the runs that failed, except one that reaches the last VLAN. */
void Model::answer_partly(const CinCommand &cin, const VlanSet &failed) {
  VlanSet listed = failed;
  listed.erase(0);
  const bool has_list = platform_.ask("cmd_mrange_create", hex(vlan_list_attribute)) == nullptr;
  for (const auto &[first, last] : runs_of(listed))
    if (has_list && last != last_vlan) platform_.say("cmd_mrange_range_add", first, last);
  platform_.say("cmd_rsp_error_set", named(3), std::string(has_list ? "list for 0x13030007" : "null"));
  const std::string text = cin.is_no_form
                               ? "Failed to delete CIN VLAN(s) " + text_of(failed) + "\n"
                               : "Failed to configure VLAN(s) " + text_of(failed) + " as CIN VLAN(s)\n";
  platform_.say("cmd_rsp_send_nok", named(3), 0, text.c_str());
}

/* ---- show commands ---- */

bool Model::start_response(uint32_t command_id) {
  if (platform_.ask("cmd_rsp_init", named(command_id), 4096) == nullptr) return true;
  platform_.say("cmd_rsp_send_nok", named(command_id), 0, "Internal error: cmd_rsp_init failed \n");
  return false;
}

void Model::happens(const ShowCin &) {
  command([this] {
    if (!start_response(2)) return;
    size_t listed = 0;
    if (platform_.allocates()) {
      each(state_.vlans, [&](const Vlan &vlan) {
        if (vlan.number == sol_vlan || listed++ >= longest_list) return;
        platform_.say("cmd_rsp_attr_add", hex(0x14c2000bu), hex(uint32_t{vlan.number}), 4);
      });
    }
    platform_.say("cmd_rsp_send");
  });
}

void Model::happens(const ShowCounters &show) {
  command([&] {
    if (!start_response(1)) return;
    std::vector<std::pair<uint32_t, uint32_t>> records;
    const auto gather = [&](uint32_t interface) {
      if (records.size() < most_counters)
        records.emplace_back(interface, platform_.frames_counted(interface).value_or(0));
    };
    if (show.interfaces.empty()) {
      gather(state_.management.interface);
      for (uint32_t port = 0; port < (is_vorlund_ ? 14 : 20); ++port) {
        if (platform_.ask("portsvc_is_ifindex_present", hex(0x1a000000 | port)) == nullptr)
          gather(0x1a000000 | port);
      }
    }
    for (const auto &[lower, upper] : show.interfaces)
      for (const uint32_t interface : interfaces_of(lower, upper)) gather(interface);

    for (const auto &[interface, frames] : records) {
      platform_.say("cmd_rsp_attr_add", hex(0x14c20004u), hex(interface), 4);
      for (uint32_t counter = 0; counter < 4; ++counter) {  // each is one more than the last
        platform_.say("cmd_rsp_attr_add", hex(0x14c20006u + counter), hex(frames == 0 ? 0 : frames + counter),
                      4);
      }
    }
    if (records.empty()) {
      platform_.say("cmd_rsp_send_ok", named(1));
    } else {
      platform_.say("cmd_rsp_send");
    }
  });
}

void Model::happens(const UnknownCommand &) {
  command([] {});
}

/* ---- configuration requests ---- */

/* Every request is answered before it is examined. */
void Model::acknowledge(uint32_t opcode) {
  platform_.ask("qbus_reply", queue_handle, "message " + shown(hex(opcode)), std::string("112 zero bytes"));
}

void Model::happens(const DebugRequest &request) {
  constexpr int32_t set = 3;
  constexpr int32_t remove = 4;
  message(0x20401, [&] {
    const bool is_copied = platform_.allocates();
    acknowledge(0x20401);
    if (!is_copied || request.data_size <= 1 || request.body.size() < 2) return;
    if (request.body[0] > 1 || (request.kind != set && request.kind != remove)) return;
    (request.body[0] == 0 ? state_.debug_packets : state_.debug_control) = request.kind == set;
  });
}

void Model::happens(const EnableRequest &request) {
  message(0x20402, [&] {
    acknowledge(0x20402);
    if (request.state <= 1) state_.relay_is_disabled = request.state == 0;
  });
}

/* ---- running configuration ---- */

/* @return false if there is no memory */
bool Model::list_vlans(uint32_t handle, const std::vector<int32_t> &records, std::vector<int32_t> &list) {
  if (!platform_.allocates()) return false;
  list = platform_.walk(handle, records, longest_list);
  return true;
}

void Model::happens(const Generation &request) {
  message(0x1def, [&] { generate(request); });
}

void Model::generate(const Generation &request) {
  platform_.say("rcgen_elem_add", 738, 1, 11);
  platform_.say("rcgen_elem_property_set", 1, 2);
  platform_.say("rcgen_elem_dependency_add", 1, 383, 2);
  std::vector<int32_t> cin_vlans;
  uint32_t startup_handle = 0;
  const auto respond = [&] { platform_.say("rcgen_respond", queue_handle, std::string("message 0x1def")); };
  if (request.configuration == 1) list_vlans(running_handle, platform_.running_store, cin_vlans);
  if (request.configuration == 2) {
    uint32_t code = 0;
    startup_handle = platform_.open_startup(code);
    if (code != 0) {
      platform_.say("rcgen_set_response_status", hex(code), "Failed to read Startup cfg for Tesk");
      return respond();
    }
    list_vlans(startup_handle, *platform_.startup_store, cin_vlans);
  }
  for (const uint16_t vlan : VlanSet(request.vlans.begin(), request.vlans.end())) {
    const bool is_cin = std::ranges::count(cin_vlans, vlan) != 0;
    if (is_cin || request.display == 4)
      platform_.say("rcgen_elem_vlan_key_str_add_indent", 1, vlan, is_cin ? "cin\n" : "no cin\n", 1);
  }
  if (startup_handle != 0) platform_.say("kvs_close", startup_handle);
  respond();
}

}  // namespace model
