// The kernel module's device, served from user space: a FUSE file system mounted over the regular file
// /dev/klm_tesk. The file can be opened and takes ioctls like a character device.
//
// The device holds the mirrored port and VLAN tables, and checks every record before it accepts it. It reports
// the counters of the frames of each port that pass the in-band and management devices. A failed request gets
// one of these errnos:
// EINVAL  a count or a VLAN is out of range, or this chassis does not have the port
// ENOENT  the entry to be deleted does not exist
// ENOTTY  the request is unknown
// EFAULT  the argument cannot be read
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/chassis/base/numbers.h"
#include "host/chassis/kernel_module/klm_records.h"
#include "host/system/failure.h"
#include "tesk/kspace/teskk.h"

namespace chassis {

class KlmDevice {
 public:
  /// Fills in the counters of a port; false when there is no such port.
  using Counters = std::function<bool(IfIndex, teskk_port_counters_t &)>;

  KlmDevice(PortExists port_exists, Counters counters);
  ~KlmDevice();

  /// Mounts over `file`, which must exist.
  [[nodiscard]] host::Result<> mount(const std::filesystem::path &file);
  /// A descriptor that is readable while a request is pending; -1 before mount.
  int fd() const;
  /// Serves the pending requests.
  void serve();

  const KlmMirror &mirror() const;
  /// Clears the mirrored tables, when the daemon that pushed them has died.
  void forget();
  /// Requests accepted and refused so far.
  std::uint64_t accepted() const;
  std::uint64_t refused() const;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace chassis
