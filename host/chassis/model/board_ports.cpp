#include "host/chassis/model/board_ports.h"

#include <algorithm>
#include <array>

#include "opal/if_index.h"

namespace chassis {
namespace {

/// Board 83: ASIC ports in the order of the front ports, downlinks first.
constexpr std::array<std::uint8_t, asic_ports> front_to_asic_83{0,  1,  2,  3,  7, 8, 9, 10, 11, 12,
                                                                13, 17, 18, 19, 4, 5, 6, 14, 15, 16};

constexpr std::uint8_t downlinks_83 = 14;

}  // namespace

const char *management_device(Board board) { return board == Board::b83 ? "mgmt1" : "mgmt0"; }

IfIndex management_if_index(Board board) {
  IfIndex index;
  if_index_mgmt_sup_port_init(&index.value, 0, board == Board::b83 ? 1 : 0);
  return index;
}

std::optional<AsicPort> asic_port(Board board, FrontPort port) {
  if (port.value < 1 || port.value > asic_ports) return std::nullopt;
  const auto index = static_cast<std::uint8_t>(port.value - 1);
  return AsicPort{board == Board::b83 ? front_to_asic_83[index] : index};
}

FrontPort front_port(Board board, AsicPort port) {
  if (board == Board::b82) return {static_cast<std::uint8_t>(port.value + 1)};
  const auto place = std::find(front_to_asic_83.begin(), front_to_asic_83.end(), port.value);
  return {static_cast<std::uint8_t>(place - front_to_asic_83.begin() + 1)};
}

bool is_uplink(Board board, AsicPort port) {
  return board == Board::b83 && front_port(board, port).value > downlinks_83;
}

IfIndex if_index(FrontPort port) {
  IfIndex index;
  if_index_phy_ethernet_init(&index.value, 0, port.value - 1U, 0);
  return index;
}

IfIndex channel_index(std::uint16_t channel) {
  IfIndex index;
  if_index_port_channel_init(&index.value, channel);
  return index;
}

std::optional<FrontPort> front_port_of(IfIndex index) {
  for (std::uint8_t number = 1; number <= asic_ports; ++number)
    if (if_index(FrontPort{number}) == index) return FrontPort{number};
  return std::nullopt;
}

std::optional<std::uint16_t> channel_of(IfIndex index) {
  std::uint32_t number = 0;
  if (if_index_port_channel_get_channel_num(index.value, &number) != RCODE_SUCCESS) return std::nullopt;
  const auto channel = static_cast<std::uint16_t>(number);
  // Encoding it again finds a channel number outside 1 to 4096, and a slot, which no port-channel has.
  return channel_index(channel) == index ? std::optional(channel) : std::nullopt;
}

bool port_exists(Board board, IfIndex index) {
  return front_port_of(index) || channel_of(index) || index == management_if_index(board);
}

}  // namespace chassis
