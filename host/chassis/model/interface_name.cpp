#include "host/chassis/model/interface_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "host/chassis/model/board_ports.h"
#include "host/text/if_index_name.h"
#include "opal/if_index.h"

namespace chassis {

namespace {

std::optional<std::uint16_t> number_in(std::string_view text) {
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

/// What follows `prefix` and blanks; nothing when `text` does not begin with it.
std::optional<std::string_view> after(std::string_view text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return std::nullopt;
  text.remove_prefix(prefix.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

std::optional<FrontPort> port_number(const ChassisState &state, std::string_view text) {
  for (const PortDescription &described : state.description().ports) {
    if (described.blade && described.blade->name == text) return described.port;
  }
  text = after(text, "ethernet").value_or(text);
  text = after(text, "1/").value_or(text);
  const auto number = number_in(text);
  if (!number || *number > asic_ports) return std::nullopt;
  const FrontPort port{static_cast<std::uint8_t>(*number)};
  return state.ports().contains(port) ? std::optional(port) : std::nullopt;
}

bool is_management_port(IfIndex index) {
  if_index_type_t type = 0;
  return if_index_get_type(index.value, &type) == RCODE_SUCCESS && type == IF_INDEX_TYPE_MGMT;
}

host::Failed no_such_interface(const ChassisState &state, std::string_view text) {
  const unsigned last = state.ports().rbegin()->first.value;
  std::string channels;
  for (const auto &[number, channel] : state.channels()) channels += fmt::format(", port-channel {}", number);
  return host::failure(
      fmt::format("there is no interface \"{}\"; give 1 to {}, ethernet 1/1 to 1/{}, or a blade's name{}",
                  text, last, last, channels));
}

}  // namespace

std::string interface_name(IfIndex index) {
  const bool possible = front_port_of(index) || channel_of(index) || is_management_port(index);
  return possible ? host::if_index_name(index.value) : fmt::format("0x{:08x}", index.value);
}

host::Result<FrontPort> find_port(const ChassisState &state, std::string_view text) {
  if (const auto port = port_number(state, text)) return *port;
  return no_such_interface(state, text);
}

host::Result<IfIndex> find_interface(const ChassisState &state, std::string_view text) {
  if (const auto rest = after(text, "port-channel")) {
    const auto number = number_in(*rest);
    if (number && state.channels().contains(*number)) return state.channels().at(*number).index;
    return no_such_interface(state, text);
  }
  if (const auto port = port_number(state, text)) return if_index(*port);
  return no_such_interface(state, text);
}

}  // namespace chassis
