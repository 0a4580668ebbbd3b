// The board's identity, as the hardware of the switch module would report it.
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class BoardService : public Service {
 public:
  explicit BoardService(const ServiceContext &context);
};

}  // namespace chassis
