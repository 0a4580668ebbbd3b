#include "host/chassis/services/vlan_mgr.h"

#include <algorithm>

#include "host/chassis/base/vlan_number.h"

namespace chassis {

namespace {

constexpr std::uint32_t feature_numbers = sizeof(vlan_feat_map_t::bits) * 8;
constexpr std::uint32_t reason_deleted_by_operator = 1;

VlanSet vlans_of(const Description &description) {
  VlanSet known;
  const auto add = [&known](VlanId vlan) { known.set(vlan.value); };
  for (const AccessInterface &access : description.amm.access) add(access.vlan);
  for (const PortDescription &port : description.ports)
    std::for_each(port.vlans.begin(), port.vlans.end(), add);
  for (const PortChannelDescription &channel : description.port_channels) {
    std::for_each(channel.vlans.begin(), channel.vlans.end(), add);
  }
  return known;
}

bool is_set(const vlan_feat_map_t &map, std::uint32_t feature) {
  return feature < feature_numbers && (map.bits[feature / 8] >> feature % 8 & 1) != 0;
}

}  // namespace

VlanManager::VlanManager(const ServiceContext &context)
    : Service(context.loop, context.faults, "vlan_mgr", bus::address::vlan_mgr),
      known_(vlans_of(context.state.description())) {
  for (const VlanId vlan : context.state.description().incompatible)
    set_feature(vlan, VLAN_FEAT_PRIVATE, true);
  endpoint_.serve<bus::CheckFeature>(
      bus::opcode::check_feature, "check-feature",
      [this](const bus::CheckFeature &request, const bus::Message &) { return check(request); });
  endpoint_.serve_messages(QBUS_OPC_VLAN_FEAT_CREATE, "vlan-feature",
                           [this](const bus::Message &message) { take_feature_message(message, true); });
  endpoint_.serve_messages(QBUS_OPC_VLAN_FEAT_DELETE, "vlan-feature",
                           [this](const bus::Message &message) { take_feature_message(message, false); });
}

void VlanManager::set_feature(VlanId vlan, std::uint32_t feature, bool on) {
  if (on) {
    known_.set(vlan.value);
    features_[vlan].insert(feature);
    return;
  }
  const auto found = features_.find(vlan);
  if (found == features_.end()) return;
  found->second.erase(feature);
  if (found->second.empty()) features_.erase(found);
}

void VlanManager::delete_vlans(std::span<const VlanId> vlans, Broker &broker) {
  std::vector<vlan_delete_notif_local_t> records;
  for (const VlanId vlan : vlans) {
    known_.reset(vlan.value);
    features_.erase(vlan);
    records.push_back({.bd = vlan.value, .vlan_id = vlan.value, .delete_reason = reason_deleted_by_operator});
  }
  broker.publish(QBUS_OPC_VLAN_MGR_VLANS_DELETED, bus::encode_vlans_deleted(records));
}

void VlanManager::forget_daemon() {
  for (auto entry = features_.begin(); entry != features_.end();) {
    const VlanId vlan = entry->first;
    ++entry;  // set_feature may erase the entry
    set_feature(vlan, VLAN_FEAT_CIN, false);
  }
}

bus::Result VlanManager::check(const bus::CheckFeature &request) const {
  const auto vlan = vlan_number(request.vlan);
  if (!vlan || request.features.size != static_cast<std::int32_t>(sizeof request.features.bits)) {
    return {RCODE_INVALID};
  }
  const auto found = features_.find(*vlan);
  if (found == features_.end()) return {RCODE_SUCCESS};
  const bool excluded =
      std::any_of(found->second.begin(), found->second.end(),
                  [&request](std::uint32_t feature) { return is_set(request.features, feature); });
  return {excluded ? static_cast<std::uint32_t>(RCODE_REFUSED) : static_cast<std::uint32_t>(RCODE_SUCCESS)};
}

void VlanManager::take_feature_message(const bus::Message &message, bool on) {
  const auto request = bus::decode_feature_vlans(message.payload);
  const bool valid = request && request->feature < feature_numbers &&
                     std::all_of(request->vlans.begin(), request->vlans.end(),
                                 [](std::int32_t vlan) { return vlan_number(vlan).has_value(); });
  if (!valid) return endpoint_.answer_malformed(message);
  for (const std::int32_t vlan : request->vlans) set_feature(*vlan_number(vlan), request->feature, on);
  endpoint_.answer_result(message, RCODE_SUCCESS);
}

}  // namespace chassis
