// The model of the switch ASIC: twenty ports, the in-band port to the CPU, and the counters of all of them.
// (docs/glossary.md explains SoL, LTL and CBL.)
//
// A frame enters from a port's wire, or from the CPU behind a from-host header. It leaves to a port's wire, or
// to the CPU behind a to-host header. A port admits only frames of VLANs that it may carry. The fabric sends
// frames of the classified VLANs, and always of the SoL VLAN (4095), to the CPU. A frame from the CPU goes to
// those ports of its LTL that are up, carry the VLAN and forward it. A dropped frame is counted at the port on
// which it entered, under the reason. The fabric allocates nothing per frame and does no input or output: to
// send a frame, it calls the sink that the owner installed.
//
// Wire frames are tagged Ethernet frames without frame check sequence, 60 to 1522 bytes (18 + 1504). A real
// stack may send a shorter frame; the code that reads it from the wire pads it, as a MAC would. The fabric
// itself refuses only a frame that is too short for its tag.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "host/chassis/base/numbers.h"
#include "host/chassis/base/vlan_set.h"

namespace chassis {

inline constexpr std::size_t wire_frame_min = 60;
inline constexpr std::size_t wire_frame_max = 1522;
inline constexpr std::size_t asic_header_bytes = 10;

struct FrameCounters {
  std::uint64_t ucast = 0;
  std::uint64_t mcast = 0;
};
/// Counts a frame as unicast or multicast, by its destination. The frame has at least one byte.
void count_frame(FrameCounters &counters, std::span<const std::byte> frame);

/// Why a frame was dropped.
enum class DropReason : std::uint8_t {
  runt,              ///< shorter than an Ethernet header with its tag
  oversize,          ///< longer than wire_frame_max
  untagged,          ///< no 802.1Q tag
  vlan_not_allowed,  ///< the port may not carry this VLAN
  link_down,         ///< the port is down
  not_classified,    ///< nobody requested the frames of this VLAN
  bad_header,        ///< from the CPU: no CE, no tags-present, or a VLAN that is not the VLAN of the tag
  blocked,           ///< a port of the LTL does not forward the VLAN
  no_such_port,      ///< no such port on this board, or an LTL that names none
  count_
};
const char *drop_name(DropReason reason);

/// Why a wire frame is malformed (runt, oversize, untagged); nothing when it is well-formed.
std::optional<DropReason> malformed_reason(std::span<const std::byte> frame);

struct PortCounters {
  FrameCounters rx;  ///< came in from the wire and were admitted
  FrameCounters tx;  ///< went out to the wire
  std::array<std::uint64_t, static_cast<std::size_t>(DropReason::count_)> dropped{};
};

/// What a port may do. Set up from the description, changed by events.
struct PortState {
  bool present = false;  ///< the board has this port
  bool link_up = false;
  VlanSet allowed;     ///< VLANs that the port carries, tagged on the wire
  VlanSet forwarding;  ///< CBL: VLANs in which the port forwards; SoL always does
};

class Fabric {
 public:
  /// Receives a frame that leaves on a port's wire; the bytes are valid during the call.
  using WireSink = std::function<void(AsicPort, std::span<const std::byte> frame)>;
  /// Receives a frame to the CPU, with the 10-byte to-host header in front.
  using CpuSink = std::function<void(std::span<const std::byte> header_and_frame)>;

  Fabric(WireSink to_wire, CpuSink to_cpu);

  /// A frame from a port's wire. A port outside 0 to 19 is a programming error. `buffer` holds
  /// asic_header_bytes free bytes, then the frame.
  void from_wire(AsicPort port, std::span<std::byte> buffer);

  /// A frame from the CPU, with the 10-byte from-host header in front.
  void from_cpu(std::span<const std::byte> header_and_frame);

  PortState &port(AsicPort port);
  const PortState &port(AsicPort port) const;

  /// Starts or stops sending a VLAN's frames to the CPU. Frames of the SoL VLAN are always sent.
  void classify(VlanId vlan, bool on);
  const VlanSet &classified() const;

  /// Notes that a VLAN's LTL is allocated or free. Only `chassis status` uses this.
  void allocate_ltl(VlanId vlan, bool on);
  const VlanSet &ltl_allocated() const;

  /// Forgets what the CPU's software requested: classifications and LTL allocations.
  void forget_cpu();

  const PortCounters &counters(AsicPort port) const;
  /// Frames from (rx) and to (tx) the CPU; `dropped` counts the frames from the CPU that were dropped.
  const PortCounters &cpu_counters() const;

 private:
  static std::optional<DropReason> refusal_to_admit(const PortState &port, std::span<const std::byte> buffer);
  void deliver(std::uint32_t ltl, VlanId vlan, std::span<const std::byte> frame);

  std::array<PortState, asic_ports> ports_;
  std::array<PortCounters, asic_ports> counters_;
  PortCounters cpu_counters_;
  VlanSet classified_;
  VlanSet ltl_;
  WireSink to_wire_;
  CpuSink to_cpu_;
};

}  // namespace chassis
