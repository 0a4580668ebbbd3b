#include "tests/model/platform.h"

#include <algorithm>
#include <cstdio>

namespace model {

using standin::hex;
using standin::shown;

namespace {

/** Result codes of the platform's services. */
constexpr uint32_t not_found = 0x40010004;

/** The stored key of a VLAN: kind 0, three bytes of padding, the number big-endian. */
std::string key_of(int32_t vlan) {
  if (vlan == 0) return "8 zero bytes";
  char text[20];
  std::snprintf(text, sizeof text, "00000000%08x", static_cast<unsigned>(vlan));
  return text;
}

template <class Entries, class Shown>
std::string list(const Entries &entries, Shown shown_entry) {
  std::string text;
  for (const auto &entry : entries) text += (text.empty() ? "" : "; ") + shown_entry(entry);
  return "{" + text + "}";
}

std::string shown_port(const std::pair<uint32_t, DevicePort> &entry) {
  const auto &[interface, port] = entry;
  std::string vlans;
  for (const auto &[vlan, forwards] : port.vlans)
    vlans += (vlans.empty() ? "" : ", ") + shown(vlan) + (forwards ? " fwd" : " blk");
  return shown(hex(interface)) + " type " + shown(port.type) + " asic " + shown(port.asic) + " [" + vlans +
         "]";
}

std::string shown_vlan(const std::pair<uint16_t, uint32_t> &entry) {
  return shown(entry.first) + " ports " + shown(hex(entry.second));
}

}  // namespace

void Platform::begin_event(const Event &event) {
  refusal_ = event.refusal;
  calls_ = 0;
  allocations_left_ = event.failing_allocation;
  written.clear();
}

bool Platform::allocates() { return allocations_left_ == 0 || --allocations_left_ != 0; }

const Refusal *Platform::matching_refusal(std::string_view operation) {
  if (!refusal_ || refusal_->operation != operation) return nullptr;
  return ++calls_ == refusal_->call ? &*refusal_ : nullptr;
}

std::optional<uint8_t> Platform::asic_port_of(uint32_t interface) {
  const Refusal *refusal = ask("ltlsvc_lib_ifidx_to_di", hex(interface));
  if (refusal != nullptr && refusal->result) return std::nullopt;
  return static_cast<uint8_t>(refusal != nullptr ? *refusal->output : interface & 0xffff);
}

const Channel *Platform::channel_of(uint32_t interface) {
  const auto found = channels.find(interface);
  return does("chanagg_get_pc_info", hex(interface)) && found != channels.end() ? &found->second : nullptr;
}

std::optional<uint32_t> Platform::ltl_request(const Refusal *refusal) {
  if (refusal != nullptr) return std::nullopt;
  return next_token_++;
}

std::optional<uint32_t> Platform::request_ltl(uint16_t vlan) {
  return ltl_request(ask("ltlsvc_send_ltl_alloc", queue_handle, 7, vlan, 0, 0, 0));
}

std::optional<uint32_t> Platform::release_ltl(uint16_t vlan) {
  return ltl_request(ask("ltlsvc_send_ltl_dealloc", queue_handle, 0, 7, vlan, 0, 0));
}

void Platform::drop_request(uint32_t token) { say("qbus_drop", queue_handle, "request " + shown(token)); }

bool Platform::send_feature(bool is_set, const std::vector<int32_t> &vlans) {
  std::string text = std::string(is_set ? "set" : "unset") + " feature 4 in";
  for (const int32_t vlan : vlans) text += " " + std::to_string(vlan);
  const Refusal *builder =
      matching_refusal(is_set ? "vlan_feat_create_build_qbus_local" : "vlan_feat_delete_build_qbus_local");
  if (builder != nullptr) return builder->result.value_or(0) == 0;  // no payload, or an empty one
  const auto opcode = hex(is_set ? 0x5c2du : 0x5c2eu);
  if (!does("fu_qbus_send", queue_handle, std::string("{node 0xfe000000, sap 167}"), opcode, text.c_str(), 0,
            0))
    return false;
  drop_request(next_token_++);
  return true;
}

bool Platform::stores_hold(int32_t vlan) {
  const Refusal *refusal = ask("kvs_fetch", running_handle, key_of(vlan));
  return refusal == nullptr && std::ranges::find(running_store, vlan) != running_store.end();
}

bool Platform::store_vlan(int32_t vlan) {
  if (!does("kvs_store", running_handle, 1, key_of(vlan), std::string("''"))) return false;
  if (std::ranges::find(running_store, vlan) == running_store.end()) running_store.push_back(vlan);
  return true;
}

bool Platform::erase_vlan(int32_t vlan) {
  return does("kvs_delete", running_handle, key_of(vlan)) && std::erase(running_store, vlan) != 0;
}

std::vector<int32_t> Platform::walk(uint32_t handle, const std::vector<int32_t> &records, size_t limit) {
  std::vector<int32_t> found;
  for (size_t i = 0;; ++i) {
    const bool refused = ask("kvs_move2location", handle, i == 0 ? 1 : 3) != nullptr;
    if (refused || i == records.size()) return found;
    found.push_back(records[i]);
    if (found.size() == limit) return found;
  }
}

uint32_t Platform::save(uint32_t opcode) {
  const Refusal *refusal = ask("kvs_snapshot", running_handle, 0, "startup:tesk_startup_cfg");
  const auto status = static_cast<uint32_t>(refusal == nullptr ? 0 : *refusal->result);
  if (status == 0) startup_store = running_store;
  say("overseer_cfg_action_done", "message " + shown(hex(opcode)), status);
  return status;
}

uint32_t Platform::open_startup(uint32_t &code) {
  const Refusal *refusal = ask("kvs_open", "startup:tesk_startup_cfg");
  code = refusal != nullptr ? static_cast<uint32_t>(*refusal->output) : startup_store ? 0 : not_found;
  return code == 0 ? ++stores_opened_ : 0;
}

bool Platform::push_ports(const std::vector<std::pair<uint32_t, DevicePort>> &ports) {
  const bool taken =
      does("ioctl", device_handle, std::string("add_or_update_ports"), list(ports, shown_port));
  for (const auto &[interface, port] : ports) {
    if (taken) {
      device_ports[interface] = port;
      undelivered_ports.erase(interface);
    } else {
      undelivered_ports.insert(interface);
    }
  }
  return taken;
}

bool Platform::push_vlans(const std::vector<std::pair<uint16_t, uint32_t>> &vlans) {
  const bool taken =
      does("ioctl", device_handle, std::string("add_or_update_vlans"), list(vlans, shown_vlan));
  for (const auto &[vlan, ports] : vlans) {
    if (taken) {
      device_vlans[vlan] = ports;
      undelivered_vlans.erase(vlan);
    } else {
      undelivered_vlans.insert(vlan);
    }
  }
  return taken;
}

void Platform::delete_port(uint32_t interface) {
  if (does("ioctl", device_handle, std::string("del_port"), hex(interface))) device_ports.erase(interface);
}

void Platform::delete_vlan(uint16_t vlan) {
  if (does("ioctl", device_handle, std::string("del_vlan"), vlan)) device_vlans.erase(vlan);
}

std::optional<uint32_t> Platform::frames_counted(uint32_t interface) {
  const bool answers = does("ioctl", device_handle, std::string("get_port_counters"), hex(interface));
  const auto found = device_counts.find(interface);
  return answers && found != device_counts.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<int> Platform::open_socket() {
  return does("socket", 17, 3, hex(0xf102)) ? std::optional(next_socket_++) : std::nullopt;
}

std::optional<Bytes> Platform::read(int descriptor, size_t size, Side side) {
  std::deque<Bytes> &frames = waiting[static_cast<size_t>(side)];
  if (ask("read", descriptor, size) != nullptr || frames.empty()) return std::nullopt;
  Bytes frame = std::move(frames.front());
  frames.pop_front();
  if (frame.size() > size) frame.resize(size);
  return frame;
}

uint16_t Platform::write(int descriptor, const Bytes &bytes) {
  written[descriptor].push_back(bytes);
  const Refusal *refusal = ask("write", descriptor, bytes.size());
  return static_cast<uint16_t>(refusal != nullptr ? *refusal->result : static_cast<int64_t>(bytes.size()));
}

}  // namespace model
