#include "host/chassis/services/capreg.h"

namespace chassis {

namespace {

constexpr std::size_t feature_names_max = 64;

}  // namespace

FeatureRegistry::FeatureRegistry(const ServiceContext &context)
    : Service(context.loop, context.faults, "capreg", bus::address::capreg) {
  endpoint_.serve<bus::FeatureStatus>(
      bus::opcode::feature_status, "capreg",
      [this](const bus::FeatureStatus &status, const bus::Message &) { return take(status); });
}

bus::Result FeatureRegistry::take(const bus::FeatureStatus &status) {
  const std::string name(bus::text_of(status.feature));
  if (name.empty() || status.enabled > 1) return {RCODE_INVALID};
  if (!features_.contains(name) && features_.size() >= feature_names_max) return {RCODE_NO_MEMORY};
  features_.insert_or_assign(name, status.enabled == 1);
  return {RCODE_SUCCESS};
}

}  // namespace chassis
