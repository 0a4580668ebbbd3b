#include <algorithm>

#include "tests/model/model.h"

namespace model {

namespace {

constexpr int16_t most_cin_vlans = 14;
constexpr int32_t first_cin_vlan = 3;
constexpr int32_t last_cin_vlan = 4094;
constexpr size_t longest_list = 32;

}  // namespace

Vlan *Model::vlan_of(int64_t number) {
  if (number < 0 || number > 0xffff) return nullptr;
  std::list<Vlan> &chain = state_.vlans[static_cast<size_t>(number) % 32];
  const auto found = std::ranges::find(chain, number, &Vlan::number);
  return found == chain.end() ? nullptr : &*found;
}

bool Model::insert_vlan(uint16_t number) {
  if (vlan_of(number) != nullptr || !platform_.allocates()) return false;
  Vlan &vlan = state_.vlans[number % 32].emplace_front(Vlan{.number = number});
  push({&vlan});
  return true;
}

void Model::use_stored_vlans() {
  std::vector<int32_t> stored;
  list_vlans(running_handle, platform_.running_store, stored);
  std::vector<int32_t> announced;
  for (const int32_t number : stored) {
    if (state_.cin_count == most_cin_vlans) break;
    if (!insert_vlan(static_cast<uint16_t>(number))) continue;
    accept(static_cast<uint16_t>(number));
    ++state_.cin_count;
    announced.push_back(number);
  }
  if (!announced.empty()) platform_.send_feature(true, announced);
}

/* ---- the management side ---- */

void Model::accept(uint16_t number) {
  state_.management.carried.insert(number);
  mark(state_.management);
}

void Model::refuse(uint16_t number) {
  state_.management.carried.erase(number);
  mark(state_.management);
}

/* ---- activation in the switch ---- */

bool Model::activate(Vlan &vlan) {
  const std::optional<uint32_t> token = platform_.request_ltl(vlan.number);
  if (!token) return false;
  vlan.token = *token;
  platform_.drop_request(*token);
  return platform_.does("kinb_tesk_vlan_add", vlan.number);
}

bool Model::deactivate(Vlan &vlan) {
  if (!platform_.does("kinb_tesk_vlan_del", vlan.number)) return false;
  const std::optional<uint32_t> token = platform_.release_ltl(vlan.number);
  if (!token) return false;
  vlan.token = *token;
  platform_.drop_request(*token);
  return true;
}

/* ---- configuration ---- */

bool Model::add_cin_vlan(int64_t number) {
  if (number < first_cin_vlan || number > last_cin_vlan) return false;
  if (vlan_of(number) != nullptr) return true;
  if (state_.cin_count >= most_cin_vlans) return false;
  if (!insert_vlan(static_cast<uint16_t>(number))) return false;
  const auto stored = static_cast<int32_t>(number);
  if (!platform_.stores_hold(stored) && !platform_.store_vlan(stored)) return false;
  accept(static_cast<uint16_t>(number));
  if (!bring_up_members(*vlan_of(number))) return false;
  ++state_.cin_count;
  return true;
}

/* The ports on which the VLAN was reported up become its members. */
bool Model::bring_up_members(Vlan &vlan) {
  if (!platform_.allocates()) return false;
  std::vector<Port *> reported;
  each(state_.ports, [&](PortEntry &entry) {
    if (entry.port && entry.port->reported.contains(vlan.number) && reported.size() < longest_list)
      reported.push_back(&*entry.port);
  });
  uint32_t members = 0;
  uint32_t forwarders = 0;
  for (Port *port : reported) {
    if (!is_downlink(port->interface)) continue;
    port->carried.insert(vlan.number);
    mark(*port);
    members |= port->bit();
    if (port->forwarding.contains(vlan.number)) forwarders |= port->bit();
  }
  if (members != 0) {
    vlan.members = members;
    mark(vlan);
    if (!activate(vlan)) return false;
  }
  if (forwarders != 0) {
    vlan.forwarders = forwarders;
    mark(vlan);
  }
  return true;
}

bool Model::delete_cin_vlan(int64_t number) {
  Vlan *vlan = vlan_of(static_cast<uint16_t>(number));
  if (vlan == nullptr) return false;
  if (vlan->members != 0 && !deactivate(*vlan)) return false;
  return remove_vlan(*vlan);
}

/* The part that the command and the VLAN manager's notice share. */
bool Model::remove_vlan(Vlan &vlan) {
  const uint16_t number = vlan.number;
  each(state_.ports, [&](PortEntry &entry) {
    if (entry.port && entry.port->carried.erase(number) != 0) mark(*entry.port);
  });
  refuse(number);
  if (!platform_.stores_hold(number) || !platform_.erase_vlan(number)) return false;
  if (vlan.is_dirty) --state_.dirty_vlans;
  platform_.delete_vlan(number);
  state_.vlans[number % 32].remove_if([&](const Vlan &entry) { return entry.number == number; });
  state_.cin_count = std::max<int16_t>(0, static_cast<int16_t>(state_.cin_count - 1));
  return true;
}

/* ---- notices and answers ---- */

void Model::happens(const VlansDeleted &notice) {
  message(0x5c22, [&] {
    if (platform_.matching_refusal("vlan_mgr_parse_notification_msg_local")) return;
    std::vector<int32_t> removed;
    for (const int32_t announced : notice.vlans) {
      const auto number = static_cast<uint16_t>(announced);
      Vlan *vlan = vlan_of(number);
      if (vlan != nullptr && remove_vlan(*vlan)) removed.push_back(number);
    }
    if (!removed.empty()) platform_.send_feature(false, removed);
  });
}

void Model::happens(const LtlAnswer &answer) {
  const uint32_t token = token_of(answer.vlan) - answer.age;
  message(answer.is_allocation ? 0x11003 : 0x11004, [&] {
    if (!answer.is_response) return;
    bool is_closed = false;
    each(state_.vlans, [&](Vlan &vlan) {
      if (!is_closed && vlan.token == token) {
        vlan.token = no_token;
        is_closed = true;
      }
    });
  });
}

}  // namespace model
