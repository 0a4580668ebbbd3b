#include "opal/board.h"

#include <array>

#include "host/opal/ask.h"

namespace {

using namespace opal;

/// The board's answer. Each call asks again until the board has answered once.
const host::Result<bus::BoardInfo> &ask_board() {
  static host::Result<bus::BoardInfo> board = refused(RCODE_UNAVAILABLE);
  if (!board) board = ask<bus::BoardInfo>(bus::address::board, bus::opcode::board_info, {});
  return board;
}

constexpr std::size_t rows = 2;

}  // namespace

const platform_runtime_param_t platform_runtime_param_array[rows] = {
    {.start_port = 1, .name = "mgmt0", .tot_mgmt_ports = 1, .name2 = "mgmt1"},
    {.start_port = 1, .name = "mgmt0", .tot_mgmt_ports = 2, .name2 = "mgmt1"},
};

int get_card_module_info(card_module_info_t *info) {
  const host::Result<bus::BoardInfo> &board = ask_board();
  if (!board) return static_cast<int>(rcode_of(board));
  *info = {.procType = board->processor,
           .card_type = board->card_type,
           .swCardId = board->card_id,
           .mod_status = board->module_status,
           .switch_hw_arch = board->hardware};
  return 0;
}

uint32_t get_platform_runtime_index(void) {
  const host::Result<bus::BoardInfo> &board = ask_board();
  return board && board->runtime_row < rows ? board->runtime_row : 0;
}
