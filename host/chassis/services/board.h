// The board's identity, as the switch module's electronics would tell it.
#pragma once

#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/model/description.h"

namespace chassis {

class BoardService {
 public:
  BoardService(asio::io_context &loop, const FaultTable &faults, Board board);
  Endpoint &endpoint() { return endpoint_; }

 private:
  Endpoint endpoint_;
};

}  // namespace chassis
