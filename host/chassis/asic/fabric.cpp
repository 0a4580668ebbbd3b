#include "host/chassis/asic/fabric.h"

#include <cstring>
#include <utility>

#include "host/chassis/asic/ethernet.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace chassis {
namespace {

static_assert(sizeof(kestrix_th_hdr_t) == asic_header_bytes);
static_assert(sizeof(kestrix_fh_hdr_t) == asic_header_bytes);

void count_drop(PortCounters &counters, DropReason reason) {
  ++counters.dropped[static_cast<std::size_t>(reason)];
}

void write_to_host_header(std::span<std::byte> buffer, AsicPort ingress, VlanId vlan) {
  kestrix_th_hdr_t header;
  kestrix_th_clear(&header);
  kestrix_th_set_ce(&header);
  kestrix_th_set_tagged(&header);
  kestrix_th_set_ingress_plid(&header, ingress.value);
  kestrix_th_set_vlan(&header, vlan.value);
  std::memcpy(buffer.data(), &header, sizeof header);
}

/// Why a port does not send a frame of the VLAN; nothing when it sends it.
std::optional<DropReason> refusal_to_send(const PortState &port, VlanId vlan) {
  if (!port.present) return DropReason::no_such_port;
  if (!port.link_up) return DropReason::link_down;
  if (!port.allowed[vlan.value]) return DropReason::vlan_not_allowed;
  if (vlan != sol_vlan && !port.forwarding[vlan.value]) return DropReason::blocked;
  return std::nullopt;
}

}  // namespace

void count_frame(FrameCounters &counters, FrameView frame) {
  ++(is_group(frame) ? counters.mcast : counters.ucast);
}

std::optional<DropReason> malformed_reason(FrameView frame) {
  if (frame.size() < tagged_header_bytes) return DropReason::runt;
  if (frame.size() > wire_frame_max) return DropReason::oversize;
  if (!has_tag(frame)) return DropReason::untagged;
  return std::nullopt;
}

const char *drop_name(DropReason reason) {
  switch (reason) {
    case DropReason::runt:
      return "runt";
    case DropReason::oversize:
      return "oversize";
    case DropReason::untagged:
      return "untagged";
    case DropReason::vlan_not_allowed:
      return "vlan_not_allowed";
    case DropReason::link_down:
      return "link_down";
    case DropReason::not_classified:
      return "not_classified";
    case DropReason::bad_header:
      return "bad_header";
    case DropReason::blocked:
      return "blocked";
    case DropReason::no_such_port:
      return "no_such_port";
    case DropReason::count_:
      break;
  }
  return "unknown";
}

Fabric::Fabric(WireSink to_wire, CpuSink to_cpu) : to_wire_(std::move(to_wire)), to_cpu_(std::move(to_cpu)) {}

void Fabric::from_wire(AsicPort port, std::span<std::byte> buffer) {
  PortCounters &counters = counters_.at(port.value);
  if (const auto reason = refusal_to_admit(ports_.at(port.value), buffer)) {
    count_drop(counters, *reason);
    return;
  }
  const FrameView frame = buffer.subspan(asic_header_bytes);
  const VlanId vlan = tag_vlan(frame);
  count_frame(counters.rx, frame);
  if (vlan != sol_vlan && !classified_[vlan.value]) {
    count_drop(counters, DropReason::not_classified);
    return;
  }
  write_to_host_header(buffer, port, vlan);
  count_frame(cpu_counters_.tx, frame);
  to_cpu_(buffer);
}

std::optional<DropReason> Fabric::refusal_to_admit(const PortState &port, FrameView buffer) {
  if (!port.present) return DropReason::no_such_port;
  if (!port.link_up) return DropReason::link_down;
  if (buffer.size() < asic_header_bytes) return DropReason::runt;
  const FrameView frame = buffer.subspan(asic_header_bytes);
  if (const auto fault = malformed_reason(frame)) return fault;
  if (!port.allowed[tag_vlan(frame).value]) return DropReason::vlan_not_allowed;
  return std::nullopt;
}

void Fabric::from_cpu(FrameView header_and_frame) {
  if (header_and_frame.size() < asic_header_bytes) return count_drop(cpu_counters_, DropReason::runt);
  const FrameView frame = header_and_frame.subspan(asic_header_bytes);
  if (const auto fault = malformed_reason(frame)) return count_drop(cpu_counters_, *fault);

  kestrix_fh_hdr_t header;
  std::memcpy(&header, header_and_frame.data(), sizeof header);
  const VlanId vlan{kestrix_fh_vlan(&header)};
  if (kestrix_fh_ce(&header) == 0 || kestrix_fh_tagged(&header) == 0 || vlan != tag_vlan(frame))
    return count_drop(cpu_counters_, DropReason::bad_header);
  count_frame(cpu_counters_.rx, frame);
  deliver(kestrix_fh_ltl(&header), vlan, frame);
}

void Fabric::deliver(std::uint32_t ltl, VlanId vlan, FrameView frame) {
  if (ltl == 0) count_drop(cpu_counters_, DropReason::no_such_port);
  for (std::uint8_t number = 0; number < asic_ports; ++number) {
    if ((ltl >> number & 1) == 0) continue;
    if (const auto reason = refusal_to_send(ports_[number], vlan)) {
      count_drop(cpu_counters_, *reason);
      continue;
    }
    count_frame(counters_[number].tx, frame);
    to_wire_(AsicPort{number}, frame);
  }
}

PortState &Fabric::port(AsicPort port) { return ports_.at(port.value); }
const PortState &Fabric::port(AsicPort port) const { return ports_.at(port.value); }

void Fabric::classify(VlanId vlan, bool on) { classified_.set(vlan.value, on); }
const VlanSet &Fabric::classified() const { return classified_; }

void Fabric::allocate_ltl(VlanId vlan, bool on) { ltl_.set(vlan.value, on); }
const VlanSet &Fabric::ltl_allocated() const { return ltl_; }

void Fabric::forget_cpu() {
  classified_.reset();
  ltl_.reset();
}

const PortCounters &Fabric::counters(AsicPort port) const { return counters_.at(port.value); }
const PortCounters &Fabric::cpu_counters() const { return cpu_counters_; }

}  // namespace chassis
