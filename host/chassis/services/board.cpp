#include "host/chassis/services/board.h"

namespace chassis {

namespace {

bus::BoardInfo identity(Board board) {
  return {.rcode = RCODE_SUCCESS,
          .card_id = static_cast<std::uint16_t>(board),
          .processor = 1,
          .card_type = 1,
          .module_status = 1,
          .hardware = 1,
          .runtime_row = static_cast<std::uint16_t>(board == Board::b83 ? 1 : 0)};
}

}  // namespace

BoardService::BoardService(const ServiceContext &context)
    : Service(context.loop, context.faults, "board", bus::address::board) {
  endpoint_.serve<Nothing>(
      bus::opcode::board_info, "board",
      [board = context.state.description().board](Nothing, const bus::Message &) { return identity(board); });
}

}  // namespace chassis
