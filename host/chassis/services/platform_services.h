// The services of the platform as one table: a new service is a file in this folder and a line in
// platform_services.cpp.
#pragma once

#include <memory>
#include <stdexcept>
#include <vector>

#include "host/chassis/services/service_context.h"

namespace chassis {

class PlatformServices {
 public:
  explicit PlatformServices(const ServiceContext &context);

  const std::vector<std::unique_ptr<Service>> &all() const { return services_; }

  /// The service of a kind, which must be in the table.
  template <typename Kind>
  Kind &get() const {
    for (const auto &service : services_) {
      if (auto *found = dynamic_cast<Kind *>(service.get())) return *found;
    }
    throw std::logic_error("the table of services has no such service");
  }

 private:
  std::vector<std::unique_ptr<Service>> services_;
};

}  // namespace chassis
