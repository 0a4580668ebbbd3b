#include "host/shell/lists.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "opal/if_index.h"

namespace shell {
namespace {

constexpr std::uint32_t vlan_max = 4095;

std::optional<std::uint32_t> number(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || text.empty()) {
    return std::nullopt;
  }
  return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t at = text.find(separator);
    parts.push_back(text.substr(0, at));
    if (at == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(at + 1);
  }
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// The two ends of "3-5"; both ends of "3" are 3.
std::pair<std::string_view, std::string_view> ends(std::string_view entry) {
  const std::size_t dash = entry.find('-');
  if (dash == std::string_view::npos) {
    return {entry, entry};
  }
  return {entry.substr(0, dash), entry.substr(dash + 1)};
}

host::Result<std::vector<std::string_view>> entries(std::string_view text, std::string_view what) {
  std::vector<std::string_view> parts = split(text, ',');
  if (parts.size() > list_limit) {
    return syntax_failure(fmt::format("A list of {} may have at most {} entries; this one has {}.", what,
                                      list_limit, parts.size()));
  }
  return parts;
}

host::Failed refuse_vlan(std::string_view entry) {
  return syntax_failure(
      fmt::format("\"{}\" is not a list of VLANs: numbers from 1 to {} and ascending ranges are accepted, as "
                  "in 3-5,200.",
                  entry, vlan_max));
}

host::Failed refuse_interface(std::string_view entry) {
  return syntax_failure(fmt::format(
      "\"{}\" is not an interface: ethernet SLOT/PORT, port-channel N, mgmtN and ascending ranges "
      "of one kind are accepted, as in ethernet 1/3-5,port-channel 7.",
      entry));
}

struct InterfaceKind {
  std::string_view word;
  if_index_type_t type;
};
constexpr std::array<InterfaceKind, 3> interface_kinds{{
    {"ethernet", IF_INDEX_TYPE_ETHERNET},
    {"port-channel", IF_INDEX_TYPE_PORT_CHANNEL},
    {"mgmt", IF_INDEX_TYPE_MGMT},
}};

/// Removes the kind's word, which may be abbreviated, from the front of an entry; "1/3" alone is ethernet.
std::optional<if_index_type_t> take_kind(std::string_view &entry) {
  const std::size_t digit = std::min(entry.find_first_of("0123456789"), entry.size());
  const std::string_view word = trimmed(entry.substr(0, digit));
  entry.remove_prefix(digit);
  if (word.empty()) {
    return IF_INDEX_TYPE_ETHERNET;
  }
  const auto kind = std::find_if(interface_kinds.begin(), interface_kinds.end(),
                                 [&](const InterfaceKind &known) { return known.word.starts_with(word); });
  return kind == interface_kinds.end() ? std::nullopt : std::optional(kind->type);
}

std::optional<std::uint32_t> ethernet_index(std::string_view text) {
  const std::vector<std::string_view> parts = split(text, '/');
  if (parts.size() != 2) {
    return std::nullopt;
  }
  const auto slot = number(parts[0]);
  const auto port = number(parts[1]);
  if_index_t index = 0;
  if (!slot || !port || *slot == 0 || *port == 0 ||
      if_index_phy_ethernet_init(&index, *slot - 1, *port - 1, 0) != RCODE_SUCCESS) {
    return std::nullopt;
  }
  return index;
}

std::optional<std::uint32_t> index_of(if_index_type_t type, std::string_view text) {
  if (type == IF_INDEX_TYPE_ETHERNET) {
    return ethernet_index(text);
  }
  const auto value = number(text);
  if_index_t index = 0;
  if (!value) {
    return std::nullopt;
  }
  const rcode_t rcode = type == IF_INDEX_TYPE_PORT_CHANNEL ? if_index_port_channel_init(&index, *value)
                                                           : if_index_mgmt_sup_port_init(&index, 0, *value);
  return rcode == RCODE_SUCCESS ? std::optional(index) : std::nullopt;
}

host::Result<Range> interface_range(std::string_view entry) {
  std::string_view rest = trimmed(entry);
  const auto type = take_kind(rest);
  auto [first, last] = ends(rest);
  const std::size_t slash = first.find('/');
  std::string completed;
  if (slash != std::string_view::npos && last.find('/') == std::string_view::npos) {
    completed = fmt::format("{}{}", first.substr(0, slash + 1), last);
    last = completed;
  }
  const auto lower = type ? index_of(*type, first) : std::nullopt;
  const auto upper = type ? index_of(*type, last) : std::nullopt;
  if (!lower || !upper || *lower > *upper) {
    return refuse_interface(entry);
  }
  const if_index_range_t range{*lower, *upper};
  if (if_index_get_num_ports_in_if_index_range(&range) == 0) {
    return refuse_interface(entry);
  }
  return Range{*lower, *upper};
}

}  // namespace

host::Result<std::vector<Range>> parse_vlans(std::string_view text) {
  auto listed = entries(text, "VLANs");
  if (!listed) {
    return failed(std::move(listed));
  }
  std::vector<Range> ranges;
  for (const std::string_view entry : *listed) {
    const auto [first, last] = ends(entry);
    const auto lower = number(first);
    const auto upper = number(last);
    if (!lower || !upper || *lower == 0 || *upper > vlan_max || *lower > *upper) {
      return refuse_vlan(entry);
    }
    ranges.push_back({*lower, *upper});
  }
  return ranges;
}

host::Result<std::vector<Range>> parse_interfaces(std::string_view text) {
  auto listed = entries(text, "interfaces");
  if (!listed) {
    return failed(std::move(listed));
  }
  std::vector<Range> ranges;
  for (const std::string_view entry : *listed) {
    host::Result<Range> range = interface_range(entry);
    if (!range) {
      return failed(std::move(range));
    }
    ranges.push_back(*range);
  }
  return ranges;
}

std::string ranges_text(const std::vector<Range> &ranges) {
  std::string text;
  for (const Range &range : ranges) {
    text += text.empty() ? "" : ",";
    text += range.lower == range.upper ? fmt::format("{}", range.lower)
                                       : fmt::format("{}-{}", range.lower, range.upper);
  }
  return text;
}

}  // namespace shell
