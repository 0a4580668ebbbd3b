// A device between the chassis and the daemon: inb0, or the management device.
//
// It is a TUN device with packet information. Each frame that the chassis writes carries the number of the
// in-band protocol, 0xF102. A packet socket bound to that protocol therefore reads the frame unchanged, with
// its tag. What the daemon writes to such a socket is read from the device here. Frames of any other protocol
// do not come from the daemon and are counted as foreign.
#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "host/chassis/base/watch.h"
#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

struct DaemonDeviceCounters {
  std::uint64_t to_daemon = 0;
  std::uint64_t from_daemon = 0;
  std::uint64_t refused = 0;  ///< frames to the daemon that the kernel did not accept
  std::uint64_t foreign = 0;  ///< of another protocol
};

class DaemonDevice {
 public:
  using FromDaemon = std::function<void(std::span<const std::byte> frame)>;

  /// Makes the device in this process's network namespace and brings it up.
  static host::Result<std::unique_ptr<DaemonDevice>> make(asio::io_context &loop, const std::string &name,
                                                          FromDaemon from_daemon);

  /// @return whether the kernel accepted the frame
  bool send(std::span<const std::byte> frame);

  const DaemonDeviceCounters &counters() const { return counters_; }

 private:
  DaemonDevice(asio::io_context &loop, host::Descriptor descriptor, FromDaemon from_daemon);
  ReadResult read_one();

  FromDaemon from_daemon_;
  DaemonDeviceCounters counters_;
  std::array<std::byte, 4096> buffer_{};
  host::Descriptor descriptor_;
  std::optional<Watch> watch_;
};

}  // namespace chassis
