// The feature registry: which features of the platform are up.
#pragma once

#include <map>

#include "host/chassis/services/service_context.h"

namespace chassis {

class FeatureRegistry : public Service {
 public:
  explicit FeatureRegistry(const ServiceContext &context);

  /// Features that were announced, and whether each is up.
  const std::map<std::string, bool> &features() const { return features_; }

  void forget_daemon() override { features_.clear(); }

 private:
  bus::Result take(const bus::FeatureStatus &status);

  std::map<std::string, bool> features_;
};

}  // namespace chassis
