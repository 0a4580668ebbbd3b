// A node: a network namespace at the far end of a wire, with real network stacks in it.
//
//   trunk0          carries tagged frames as they are on the wire
//   sol0, vlan100…  one access interface per VLAN of the description, whose tag the chassis adds to what it
//                   sends and takes off what it gets
//
// A frame for the node appears on trunk0, and on the access interface of its VLAN. Both directions of the
// wire together are seen with `chassis capture`. MAC addresses are 02:00:00:00:SS:II: SS is the node's
// station (1 for the AMM, 10 and the port for a blade), II 00 for trunk0 and the position from 01 for the
// access interfaces. IPv6 is off, so that no frame is sent unasked.
#pragma once

#include <asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/chassis/base/watch.h"
#include "host/chassis/model/description.h"
#include "host/chassis/net/net_namespace.h"
#include "host/chassis/wires/link_partner.h"

namespace chassis {

class Node : public LinkPartner {
 public:
  /// Makes the namespace and its interfaces; their links are up.
  static host::Result<std::unique_ptr<Node>> make(asio::io_context &loop, const NodeDescription &description,
                                                  std::uint8_t station, FromWire from_node);
  ~Node() override;

  void deliver(std::span<const std::byte> frame) override;
  host::Result<> set_link(bool up) override;

 private:
  struct Device;
  Node(NetNamespace net_namespace, FromWire from_node);
  host::Result<> add_trunk(asio::io_context &loop, std::uint8_t station);
  host::Result<> add_access(asio::io_context &loop, const AccessInterface &access, std::uint8_t station);
  ReadResult read_trunk(Device &device);
  ReadResult read_access(Device &device);

  NetNamespace namespace_;
  FromWire from_node_;
  std::vector<std::unique_ptr<Device>> devices_;  ///< trunk0 first
};

}  // namespace chassis
