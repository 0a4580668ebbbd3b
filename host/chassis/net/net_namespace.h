// Named network namespaces: the far ends of the chassis's wires, one for each blade and for the AMM.
//
// They stand under /run/netns, where `ip netns` looks for them too. What is to be made inside is made by a
// thread of its own that enters the namespace, so that the process as a whole stays where it is.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

class NetNamespace {
 public:
  /// Makes the namespace `name` with its loopback up.
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
