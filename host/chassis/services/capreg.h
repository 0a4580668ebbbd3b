// The feature registry: which features of the platform are up.
#pragma once

#include <map>

#include "host/chassis/endpoint/endpoint.h"

namespace chassis {

class FeatureRegistry {
 public:
  FeatureRegistry(asio::io_context &loop, const FaultTable &faults);

  /// Features that were announced, and whether each is up.
  const std::map<std::string, bool> &features() const { return features_; }

  /// The programs that announced them are gone.
  void forget() { features_.clear(); }

  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::Result take(const bus::FeatureStatus &status);

  Endpoint endpoint_;
  std::map<std::string, bool> features_;
};

}  // namespace chassis
