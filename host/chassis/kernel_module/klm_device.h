// The kernel module's device, served from user space: a FUSE file system mounted over the one regular
// file /dev/klm_tesk, which opens and takes ioctls like a character device.
//
// It holds the mirrored port and VLAN tables, checks every record before it takes it, answers with the
// errno that fits (EINVAL: a count or a VLAN out of range, or a port that this chassis does not have;
// ENOENT: deletion of what is not there; ENOTTY: an unknown request; EFAULT: unreadable argument), and
// counts the frames of each port that pass the in-band and management devices.
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
  /// @param counters of a port; false when there is no such port
  using Counters = std::function<bool(IfIndex, teskk_port_counters_t &)>;

  KlmDevice(PortExists port_exists, Counters counters);
  ~KlmDevice();

  /// Mounts over `file`, which must exist.
  [[nodiscard]] host::Result<> mount(const std::filesystem::path &file);
  /// Readable while a request waits; -1 before mount.
  int fd() const;
  /// Serves the requests that wait.
  void serve();

  const KlmMirror &mirror() const;
  /// Forgets the mirrored tables, when the daemon that pushed them has died.
  void forget();
  /// Requests taken and refused so far.
  std::uint64_t accepted() const;
  std::uint64_t refused() const;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace chassis
