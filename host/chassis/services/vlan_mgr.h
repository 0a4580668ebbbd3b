// The VLAN manager: which VLANs exist, and which features use them.
#pragma once

#include <map>
#include <set>
#include <span>

#include "host/chassis/services/broker.h"
#include "host/chassis/services/service_context.h"

namespace chassis {

class VlanManager : public Service {
 public:
  /// Starts with the VLANs of the description; the VLANs under `incompatible` carry the private-VLAN feature.
  explicit VlanManager(const ServiceContext &context);

  const VlanSet &known() const { return known_; }
  /// Features of the VLANs that have any.
  const std::map<VlanId, std::set<std::uint32_t>> &features() const { return features_; }

  /// Sets or unsets a feature in a VLAN; a VLAN with a feature exists.
  void set_feature(VlanId vlan, std::uint32_t feature, bool on);

  /// Deletes VLANs with all their features and publishes the deletion.
  void delete_vlans(std::span<const VlanId> vlans, Broker &broker);

  /// Removes the daemon's feature, CIN (chassis internal network), from every VLAN.
  void forget_daemon() override;

 private:
  bus::Result check(const bus::CheckFeature &request) const;
  void take_feature_message(const bus::Message &message, bool on);

  VlanSet known_;
  std::map<VlanId, std::set<std::uint32_t>> features_;
};

}  // namespace chassis
