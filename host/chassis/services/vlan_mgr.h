// The VLAN manager: which VLANs exist, and which features use them.
#pragma once

#include <map>
#include <set>
#include <span>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/model/description.h"
#include "host/chassis/services/broker.h"

namespace chassis {

class VlanManager {
 public:
  /// Knows the VLANs of the description; those under `incompatible` carry the private-VLAN feature.
  VlanManager(asio::io_context &loop, const FaultTable &faults, const Description &description);

  const VlanSet &known() const { return known_; }
  /// Features of the VLANs that have any.
  const std::map<VlanId, std::set<std::uint32_t>> &features() const { return features_; }

  /// Sets or unsets a feature in a VLAN; a VLAN with a feature exists.
  void set_feature(VlanId vlan, std::uint32_t feature, bool on);

  /// Deletes VLANs with all their features and publishes the deletion.
  void delete_vlans(std::span<const VlanId> vlans, Broker &broker);

  /// The program whose feature CIN is has died.
  void forget_cin();

  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::Result check(const bus::CheckFeature &request) const;
  void take_feature_message(const bus::Message &message, bool on);

  Endpoint endpoint_;
  VlanSet known_;
  std::map<VlanId, std::set<std::uint32_t>> features_;
};

}  // namespace chassis
