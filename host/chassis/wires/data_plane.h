// Connects everything that carries frames: the fabric, the nodes and attachments at its ports, the management
// link between the AMM (docs/glossary.md) and the management device, inb0, and the counters on the way.
//
//   blade ── wire ── fabric ── inb0 ── daemon ── management device ── wire ── AMM
//
// The management link accepts well-formed tagged frames of any VLAN: the daemon decides which of them to
// forward.
#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <filesystem>
#include <memory>
#include <nlohmann/json_fwd.hpp>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/asic/inband_counters.h"
#include "host/chassis/model/description.h"
#include "host/chassis/wires/capture.h"
#include "host/chassis/wires/daemon_device.h"
#include "host/chassis/wires/link_partner.h"

namespace chassis {

class DataPlane {
 public:
  /// Makes every device and namespace of the description.
  static host::Result<std::unique_ptr<DataPlane>> make(asio::io_context &loop, const Description &description,
                                                       const std::filesystem::path &run_folder);
  ~DataPlane();

  Fabric &fabric() { return fabric_; }
  /// Switches the link at the far end of a port's wire up or down.
  [[nodiscard]] host::Result<> set_link(AsicPort port, bool up);

  /// Counters of the frames that passed the daemon's devices, port by port.
  const InbandCounters &inband_counters() const { return inband_counters_; }

  /// Counters of the daemon's two devices and the management link, for `chassis status`.
  nlohmann::json status() const;

 private:
  DataPlane(const Description &description, std::unique_ptr<CaptureServer> capture);
  host::Result<> add_devices(asio::io_context &loop);
  host::Result<> add_wires(asio::io_context &loop);
  host::Result<std::unique_ptr<LinkPartner>> make_partner(asio::io_context &loop, const PortDescription &port,
                                                          AsicPort asic, CapturePoint *point);
  FromWire into_fabric(AsicPort port, CapturePoint *point);
  void deliver_to_wire(AsicPort port, std::span<const std::byte> frame);
  void send_to_daemon(std::span<const std::byte> header_and_frame);
  void take_from_daemon(std::span<const std::byte> header_and_frame);
  void take_from_amm(std::span<const std::byte> frame);
  void deliver_to_amm(std::span<const std::byte> frame);

  Description description_;
  std::unique_ptr<CaptureServer> capture_;
  CapturePoint &inband_point_, &management_point_, &amm_point_;
  std::array<CapturePoint *, asic_ports> wire_points_{};
  Fabric fabric_;
  InbandCounters inband_counters_;
  PortCounters management_;  ///< rx: well-formed frames from the AMM; tx: frames to it
  std::unique_ptr<DaemonDevice> inband_device_;
  std::unique_ptr<DaemonDevice> management_device_;
  std::array<std::unique_ptr<LinkPartner>, asic_ports> partners_;
  std::unique_ptr<LinkPartner> amm_;
};

}  // namespace chassis
