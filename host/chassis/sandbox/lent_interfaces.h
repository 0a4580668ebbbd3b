// Interfaces of the machine that are lent to a sandbox: `attach: eth1` in a description.
//
// Only real root may move them into the sandbox's network and back. They come back however the sandbox ends,
// because its network is kept alive until they have left it. Only when `chassis run` is killed (SIGKILL) is
// this left to the kernel, which returns physical interfaces and destroys virtual ones.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

/// Checks that the interfaces can be lent.
[[nodiscard]] host::Result<> check_lendable(const std::vector<std::string> &interfaces);

class LentInterfaces {
 public:
  /// Moves the interfaces into the network of a process.
  static host::Result<LentInterfaces> lend(const std::vector<std::string> &interfaces, pid_t process);
  LentInterfaces(LentInterfaces &&) noexcept = default;
  LentInterfaces &operator=(LentInterfaces &&) = delete;
  /// Moves the interfaces back.
  ~LentInterfaces();

 private:
  explicit LentInterfaces(host::Descriptor network) : network_(std::move(network)) {}

  std::vector<std::string> interfaces_;
  host::Descriptor network_;
};

}  // namespace chassis
