// Interfaces of the machine on loan to a sandbox: `attach: eth1` in a description.
//
// They are moved into the sandbox's network and back, which takes real root. They come back however the
// sandbox ends, because its network is kept alive until they have left it; only a killed `chassis run` (-9)
// leaves this to the kernel, which returns physical interfaces and destroys virtual ones.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/system/descriptor.h"

namespace chassis {

/// @return "" or one sentence that says why an interface cannot be lent
std::string refusal_to_lend(const std::vector<std::string> &interfaces);

class LentInterfaces {
 public:
  /// Moves the interfaces into the network of a process. Throws Failure.
  LentInterfaces(std::vector<std::string> interfaces, pid_t process);
  /// Moves them back.
  ~LentInterfaces();
  LentInterfaces(const LentInterfaces &) = delete;
  LentInterfaces &operator=(const LentInterfaces &) = delete;

 private:
  std::vector<std::string> interfaces_;
  host::Descriptor network_;
};

}  // namespace chassis
