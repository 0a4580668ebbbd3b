#include "opal/capreg.h"

#include <cstring>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

using namespace opal;

int capreg_notify_feature_status(qbus_queue_t queue, const char *feature, uint32_t enabled, uint32_t reason) {
  bus::FeatureStatus status{};
  if (find_queue(queue) == nullptr || feature == nullptr || std::strlen(feature) >= sizeof status.feature)
    return static_cast<int>(RCODE_INVALID);
  bus::set_text(status.feature, feature);
  status.enabled = enabled;
  status.reason = reason;
  return static_cast<int>(
      rcode_of(ask(bus::address::capreg, bus::opcode::feature_status, bus::bytes_of(status))));
}
