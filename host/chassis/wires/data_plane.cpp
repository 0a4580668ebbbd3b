#include "host/chassis/wires/data_plane.h"

#include <nlohmann/json.hpp>

#include "host/chassis/asic/counters_json.h"
#include "host/chassis/model/board_ports.h"
#include "host/chassis/wires/attachment.h"
#include "host/chassis/wires/node.h"

namespace chassis {
namespace {

nlohmann::json as_json(const DaemonDeviceCounters &counters) {
  return {{"to_daemon", counters.to_daemon},
          {"from_daemon", counters.from_daemon},
          {"refused", counters.refused},
          {"foreign", counters.foreign}};
}

}  // namespace

DataPlane::DataPlane(const Description &description, std::unique_ptr<CaptureServer> capture)
    : description_(description),
      capture_(std::move(capture)),
      inband_point_(capture_->add_point("inb0")),
      management_point_(capture_->add_point(management_device(description.board))),
      amm_point_(capture_->add_point("amm")),
      fabric_([this](AsicPort port, auto frame) { deliver_to_wire(port, frame); },
              [this](auto frame) { send_to_daemon(frame); }) {}

DataPlane::~DataPlane() = default;

host::Result<std::unique_ptr<DataPlane>> DataPlane::make(asio::io_context &loop,
                                                         const Description &description,
                                                         const std::filesystem::path &run_folder) {
  host::Result<std::unique_ptr<CaptureServer>> capture = CaptureServer::listen(loop, run_folder);
  if (!capture) return failed(std::move(capture));
  std::unique_ptr<DataPlane> plane(
      new DataPlane(description, std::move(*capture)));  // NOLINT: private constructor
  host::Result<> added = plane->add_devices(loop).and_then([&] { return plane->add_wires(loop); });
  if (!added) return failed(std::move(added));
  return plane;
}

host::Result<> DataPlane::add_devices(asio::io_context &loop) {
  auto inband = DaemonDevice::make(loop, "inb0", [this](auto frame) { take_from_daemon(frame); });
  if (!inband) return failed(std::move(inband));
  inband_device_ = std::move(*inband);
  auto management = DaemonDevice::make(loop, management_device(description_.board),
                                       [this](auto frame) { deliver_to_amm(frame); });
  if (!management) return failed(std::move(management));
  management_device_ = std::move(*management);
  auto amm = Node::make(loop, description_.amm, amm_station,
                        [this](auto buffer) { take_from_amm(buffer.subspan(asic_header_bytes)); });
  if (!amm) return failed(std::move(amm));
  amm_ = std::move(*amm);
  return {};
}

host::Result<std::unique_ptr<LinkPartner>> DataPlane::make_partner(asio::io_context &loop,
                                                                   const PortDescription &port, AsicPort asic,
                                                                   CapturePoint *point) {
  if (port.blade) return Node::make(loop, *port.blade, blade_station(port.port), into_fabric(asic, point));
  return Attachment::make(loop, port.attach, into_fabric(asic, point));
}

host::Result<> DataPlane::add_wires(asio::io_context &loop) {
  for (const auto &port : description_.ports) {
    const auto asic = asic_port(description_.board, port.port);
    if (!asic || (!port.blade && port.attach.empty())) continue;
    CapturePoint &point = capture_->add_point(port.blade ? port.blade->name : port.attach);
    wire_points_[asic->value] = &point;
    auto wire = make_partner(loop, port, *asic, &point);
    if (!wire) return failed(std::move(wire));
    partners_[asic->value] = std::move(*wire);
    if (host::Result<> set = partners_[asic->value]->set_link(port.link_up); !set) return set;
  }
  return {};
}

FromWire DataPlane::into_fabric(AsicPort port, CapturePoint *point) {
  return [this, port, point](std::span<std::byte> buffer) {
    point->pass(buffer.subspan(asic_header_bytes));
    fabric_.from_wire(port, buffer);
  };
}

void DataPlane::deliver_to_wire(AsicPort port, std::span<const std::byte> frame) {
  if (!partners_[port.value]) return;
  wire_points_[port.value]->pass(frame);
  partners_[port.value]->deliver(frame);
}

void DataPlane::send_to_daemon(std::span<const std::byte> header_and_frame) {
  if (!inband_device_->send(header_and_frame)) return;
  inband_counters_.to_daemon(header_and_frame);
  inband_point_.pass(header_and_frame.subspan(asic_header_bytes));
}

void DataPlane::take_from_daemon(std::span<const std::byte> header_and_frame) {
  inband_counters_.from_daemon(header_and_frame);
  if (header_and_frame.size() > asic_header_bytes)
    inband_point_.pass(header_and_frame.subspan(asic_header_bytes));
  fabric_.from_cpu(header_and_frame);
}

void DataPlane::take_from_amm(std::span<const std::byte> frame) {
  amm_point_.pass(frame);
  if (const auto fault = malformed_reason(frame)) {
    ++management_.dropped[static_cast<std::size_t>(*fault)];
    return;
  }
  count_frame(management_.rx, frame);
  if (!management_device_->send(frame)) return;
  inband_counters_.management_to_daemon(frame);
  management_point_.pass(frame);
}

void DataPlane::deliver_to_amm(std::span<const std::byte> frame) {
  management_point_.pass(frame);
  inband_counters_.management_from_daemon(frame);
  if (const auto fault = malformed_reason(frame)) {
    ++management_.dropped[static_cast<std::size_t>(*fault)];
    return;
  }
  count_frame(management_.tx, frame);
  amm_point_.pass(frame);
  amm_->deliver(frame);
}

host::Result<> DataPlane::set_link(AsicPort port, bool up) {
  const auto &wire = partners_.at(port.value);
  return wire ? wire->set_link(up) : host::Result<>();
}

nlohmann::json DataPlane::status() const {
  return {{"inb0", as_json(inband_device_->counters())},
          {management_device(description_.board), as_json(management_device_->counters())},
          {"management_link", as_json(management_, DropsListed::all)}};
}

}  // namespace chassis
