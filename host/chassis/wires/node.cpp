#include "host/chassis/wires/node.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <span>

#include "host/chassis/asic/ethernet.h"
#include "host/chassis/asic/frame_buffer.h"
#include "host/chassis/net/net_link.h"
#include "host/chassis/net/tun.h"

namespace chassis {
namespace {

// Larger than the wire's maximum, so that the ASIC, not the sender's kernel, refuses a frame that is too long.
constexpr int trunk_mtu = 2048;

MacAddress mac_address(std::uint8_t station, std::size_t position) {
  return {0x02, 0, 0, 0, station, static_cast<std::uint8_t>(position)};
}

/// All nodes share the buffer: one loop reads one frame at a time.
FrameBuffer node_buffer;

}  // namespace

struct Node::Device {
  VlanId vlan;  ///< of an access interface
  host::Descriptor descriptor;
  std::optional<Watch> watch;
};

Node::Node(NetNamespace net_namespace, FromWire from_node)
    : namespace_(std::move(net_namespace)), from_node_(std::move(from_node)) {}

Node::~Node() = default;

host::Result<std::unique_ptr<Node>> Node::make(asio::io_context &loop, const NodeDescription &description,
                                               std::uint8_t station, FromWire from_node) {
  host::Result<NetNamespace> net_namespace = NetNamespace::make(description.name);
  if (!net_namespace) return failed(std::move(net_namespace));
  std::unique_ptr<Node> node(
      new Node(std::move(*net_namespace), std::move(from_node)));  // NOLINT: private constructor
  host::Result<> added = node->add_trunk(loop, station);
  for (const auto &access : description.access)
    if (added) added = node->add_access(loop, access, station);
  if (!added) return failed(std::move(added));
  return node;
}

host::Result<> Node::add_trunk(asio::io_context &loop, std::uint8_t station) {
  auto device = std::make_unique<Device>();
  host::Result<> made = namespace_.run([&]() -> host::Result<> {
    host::Result<host::Descriptor> tun = make_tun("trunk0", TunKind::ethernet);
    if (!tun) return failed(std::move(tun));
    device->descriptor = std::move(*tun);
    return set_mac("trunk0", mac_address(station, 0))
        .and_then([] { return set_mtu("trunk0", trunk_mtu); })
        .and_then([] { return set_link_up("trunk0", true); });
  });
  if (!made) return made;
  Device &kept = *devices_.emplace_back(std::move(device));
  kept.watch.emplace(loop, kept.descriptor.get(), [this, &kept] { return read_trunk(kept); });
  return {};
}

host::Result<> Node::add_access(asio::io_context &loop, const AccessInterface &access, std::uint8_t station) {
  auto device = std::make_unique<Device>();
  device->vlan = access.vlan;
  host::Result<> made = namespace_.run([&]() -> host::Result<> {
    host::Result<host::Descriptor> tun = make_tun(access.name, TunKind::ethernet);
    if (!tun) return failed(std::move(tun));
    device->descriptor = std::move(*tun);
    return set_mac(access.name, mac_address(station, devices_.size()))
        .and_then([&] {
          return access.address.empty() ? host::Result<>() : set_address(access.name, access.address);
        })
        .and_then([&] { return set_link_up(access.name, true); });
  });
  if (!made) return made;
  Device &kept = *devices_.emplace_back(std::move(device));
  kept.watch.emplace(loop, kept.descriptor.get(), [this, &kept] { return read_access(kept); });
  return {};
}

ReadResult Node::read_trunk(Device &device) {
  const auto place = node_buffer.tagged_place();
  const ssize_t length = read(device.descriptor.get(), place.data(), place.size());
  if (length < 0) return result_of_failed_read(errno);
  from_node_(node_buffer.finish(static_cast<std::size_t>(length)));
  return ReadResult::taken;
}

ReadResult Node::read_access(Device &device) {
  const auto place = node_buffer.untagged_place();
  const ssize_t length = read(device.descriptor.get(), place.data(), place.size());
  if (length < 0) return result_of_failed_read(errno);
  if (static_cast<std::size_t>(length) < ethernet_header_bytes) return ReadResult::taken;
  insert_tag(node_buffer.tagged_place(), device.vlan.value);
  from_node_(node_buffer.finish(static_cast<std::size_t>(length) + tag_bytes));
  return ReadResult::taken;
}

// A frame that the node's kernel does not accept (its interface is down) is lost, as on a real wire.
void Node::deliver(FrameView frame) {
  (void)!write(devices_.front()->descriptor.get(), frame.data(), frame.size());
  if (frame.size() < tagged_header_bytes || !has_tag(frame)) return;
  const VlanId vlan = tag_vlan(frame);
  const FrameView addresses = frame.first(mac_pair_bytes);
  const FrameView rest = frame.subspan(mac_pair_bytes + tag_bytes);
  // writev takes no pointers to const, and does not write through them.
  const iovec parts[] = {{const_cast<std::byte *>(addresses.data()), addresses.size()},
                         {const_cast<std::byte *>(rest.data()), rest.size()}};
  for (const auto &device : std::span(devices_).subspan(1))
    if (device->vlan == vlan) (void)!writev(device->descriptor.get(), parts, 2);
}

host::Result<> Node::set_link(bool up) {
  for (const auto &device : devices_)
    if (host::Result<> set = set_carrier(device->descriptor, up); !set) return set;
  return {};
}

}  // namespace chassis
