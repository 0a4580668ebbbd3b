// The shell's registry: which program serves the commands of each parse tree.
#pragma once

#include <map>
#include <set>

#include "host/chassis/services/service_context.h"

namespace chassis {

class CushRegistry : public Service {
 public:
  explicit CushRegistry(const ServiceContext &context);

  void forget_daemon() override;

 private:
  bus::Result register_tree(const bus::Registration &request);
  bus::Payload list() const;

  std::map<std::string, bus::Address> trees_;
  std::set<bus::Address> backends_;
};

}  // namespace chassis
