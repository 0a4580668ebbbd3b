// The switch ASIC's model: twenty ports, the in-band port to the CPU, and the counters of all of them.
//
// Frames enter from a port's wire or from the CPU (behind a from-host header) and leave to a port's wire
// or to the CPU (behind a to-host header). The fabric admits on a port what the port may carry, sends
// the classified VLANs (and always SoL, 4095) to the CPU, and delivers what the CPU sends to those ports
// of its LTL that are up, carry the VLAN and forward it. Every frame that goes nowhere is counted under
// the reason, where it entered. The fabric allocates nothing per frame and does no input or output of
// its own: where a frame leaves, it calls the sink that the owner installed.
//
// Wire frames are tagged Ethernet frames without frame check sequence, 60 to 1522 bytes (18 + 1504); a
// shorter one from a real stack is padded by whoever reads it from the wire as a MAC would; the fabric itself
// refuses only a frame that is too short for its tag.
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
/// Counts a frame of at least one byte by its destination.
void count_frame(FrameCounters &counters, std::span<const std::byte> frame);

/// Why a frame went nowhere.
enum class DropReason : std::uint8_t {
  runt,              ///< shorter than an Ethernet header with its tag
  oversize,          ///< longer than wire_frame_max
  untagged,          ///< no 802.1Q tag where one is needed
  vlan_not_allowed,  ///< the port may not carry this VLAN
  link_down,         ///< the port is down
  not_classified,    ///< nobody asked for this VLAN's frames
  bad_header,        ///< from the CPU without CE or tags-present, or not of the VLAN of its tag
  blocked,           ///< a port of the LTL does not forward the VLAN
  no_such_port,      ///< no such port on this board, or an LTL that names none
  count_
};
const char *drop_name(DropReason reason);

/// What is wrong with the shape of a wire frame (runt, oversize, untagged); nothing when it is sound.
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
  /// Receives a frame to the CPU, the 10-byte to-host header in front.
  using CpuSink = std::function<void(std::span<const std::byte> header_and_frame)>;

  Fabric(WireSink to_wire, CpuSink to_cpu);

  /// A frame from a port's wire. A port outside 0 to 19 is a programming error. `buffer` holds
  /// asic_header_bytes free bytes, then the frame.
  void from_wire(AsicPort port, std::span<std::byte> buffer);

  /// A frame from the CPU, the 10-byte from-host header in front.
  void from_cpu(std::span<const std::byte> header_and_frame);

  PortState &port(AsicPort port);
  const PortState &port(AsicPort port) const;

  /// Starts or ends sending a VLAN's frames to the CPU. SoL is always sent.
  void classify(VlanId vlan, bool on);
  const VlanSet &classified() const;

  /// Allocates or frees the LTL of a VLAN; only bookkeeping that `chassis status` shows.
  void allocate_ltl(VlanId vlan, bool on);
  const VlanSet &ltl_allocated() const;

  /// Forgets what the CPU's software asked for: classifications and LTL allocations.
  void forget_cpu();

  const PortCounters &counters(AsicPort port) const;
  /// Frames from (rx) and to (tx) the CPU; drops of frames that the CPU sent stand under `dropped`.
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
