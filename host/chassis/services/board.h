// The board's identity, as the switch module's electronics would tell it.
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class BoardService : public Service {
 public:
  explicit BoardService(const ServiceContext &context);
};

}  // namespace chassis
