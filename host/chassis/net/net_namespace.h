// Named network namespaces: the far ends of the chassis's wires, one for each blade and for the AMM.
//
// They are files in /run/netns, where `ip netns` finds them too. A separate thread enters the namespace to
// make things in it, so that the process itself stays in its own namespace. AMM: see docs/glossary.md.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

class NetNamespace {
 public:
  /// Makes the namespace `name`, with its loopback interface up.
  static host::Result<NetNamespace> make(const std::string &name);

  /// Runs `work` in the namespace and waits for it. @return what it returned
  [[nodiscard]] host::Result<> run(const std::function<host::Result<>()> &work) const;

 private:
  explicit NetNamespace(host::Descriptor descriptor) : namespace_(std::move(descriptor)) {}
  host::Descriptor namespace_;
};

/// Names of the namespaces of this sandbox, in order.
std::vector<std::string> net_namespace_names();

/// Moves the calling process into the namespace `name`.
[[nodiscard]] host::Result<> enter_net_namespace(const std::string &name);

}  // namespace chassis
