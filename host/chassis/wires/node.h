// A node: a network namespace at the far end of a wire, with real network stacks in it.
//
//   trunk0          carries tagged frames as they are on the wire
//   sol0, vlan100…  one access interface per VLAN of the description; the chassis adds the VLAN's tag to
//                   frames that it sends, and removes the tag from frames that it receives
//
// A frame for the node appears on trunk0, and on the access interface of its VLAN. `chassis capture` shows
// both directions of the wire together. MAC addresses are 02:00:00:00:SS:II. SS is the node's station: 1 for
// the AMM (docs/glossary.md), 10 plus the port for a blade. II is 00 for trunk0, and the position, from 01,
// for the access interfaces. IPv6 is off, so that no stack sends frames on its own.
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
  /// Makes the namespace and its interfaces, with their links up.
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
