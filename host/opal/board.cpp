#include "opal/board.h"

#include <array>

#include "host/opal/ask.h"

namespace {

using namespace opal;

/// The board's answer, asked for once.
rcode_t ask_board(bus::BoardInfo &board) {
  static std::optional<bus::BoardInfo> known;
  if (!known) {
    bus::BoardInfo told{};
    const rcode_t rcode = ask(bus::address::board, bus::opcode::board_info, {}, told);
    if (rcode != RCODE_SUCCESS) return rcode;
    known = told;
  }
  board = *known;
  return RCODE_SUCCESS;
}

constexpr std::size_t rows = 2;

}  // namespace

const platform_runtime_param_t platform_runtime_param_array[rows] = {
    {.start_port = 1, .name = "mgmt0", .tot_mgmt_ports = 1, .name2 = "mgmt1"},
    {.start_port = 1, .name = "mgmt0", .tot_mgmt_ports = 2, .name2 = "mgmt1"},
};

int get_card_module_info(card_module_info_t *info) {
  bus::BoardInfo board{};
  if (const rcode_t rcode = ask_board(board); rcode != RCODE_SUCCESS) return static_cast<int>(rcode);
  *info = {.procType = board.processor,
           .card_type = board.card_type,
           .swCardId = board.card_id,
           .mod_status = board.module_status,
           .switch_hw_arch = board.hardware};
  return 0;
}

uint32_t get_platform_runtime_index(void) {
  bus::BoardInfo board{};
  if (ask_board(board) != RCODE_SUCCESS || board.runtime_row >= rows) return 0;
  return board.runtime_row;
}
