#include "host/chassis/model/description_file.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

#include "host/chassis/model/board_ports.h"

namespace chassis {
namespace {

constexpr std::size_t file_limit = 1 << 20;
constexpr std::size_t vlans_per_node = 64;

/// A mistake at a line of the file. It is thrown, because the YAML library also throws its errors, at any
/// access; parse_description catches both.
struct Mistake {
  int line;
  std::string text;
};

[[noreturn]] void refuse(const YAML::Node &node, std::string text) {
  throw Mistake{node.Mark().line + 1, std::move(text)};
}

std::string shown(const YAML::Node &node) {
  return node.IsScalar()     ? fmt::format("'{}'", node.Scalar())
         : node.IsSequence() ? "a list"
         : node.IsMap()      ? "a map"
                             : "nothing";
}

// ---- scalars -------------------------------------------------------------------------------------------

std::uint16_t number(const YAML::Node &node, const char *what, unsigned lowest, unsigned highest) {
  unsigned value = 0;
  if (!node.IsScalar() || !YAML::convert<unsigned>::decode(node, value) || value < lowest || value > highest)
    refuse(node, fmt::format("{} is a number from {} to {}, not {}", what, lowest, highest, shown(node)));
  return static_cast<std::uint16_t>(value);
}

VlanId vlan_of(const YAML::Node &node) { return {number(node, "a VLAN", 1, 4095)}; }

FrontPort port_number(const YAML::Node &node) {
  return {static_cast<std::uint8_t>(number(node, "a port", 1, asic_ports))};
}

std::string name_text(const YAML::Node &node, const char *what) {
  if (!node.IsScalar() || !is_name(node.Scalar()))
    refuse(node, fmt::format("{} is 1 to 32 letters, digits, '-' and '_', not {}", what, shown(node)));
  return node.Scalar();
}

std::string device_text(const YAML::Node &node) {
  const bool sound = node.IsScalar() && !node.Scalar().empty() && node.Scalar().size() <= 15 &&
                     node.Scalar().find_first_of("/ \t\n") == std::string::npos && node.Scalar()[0] != '-';
  if (!sound) refuse(node, fmt::format("an interface's name is 1 to 15 characters, not {}", shown(node)));
  return node.Scalar();
}

bool link_is_up(const YAML::Node &node) {
  if (node.IsScalar() && node.Scalar() == "up") return true;
  if (node.IsScalar() && node.Scalar() == "down") return false;
  refuse(node, fmt::format("'link' is up or down, not {}", shown(node)));
}

std::string address_text(const YAML::Node &node) {
  std::string text = node.IsScalar() ? node.Scalar() : "";
  if (text == "none") return "";
  const std::size_t slash = text.find('/');
  in_addr address{};
  unsigned length = 0;
  const bool sound =
      slash != std::string::npos && inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) == 1 &&
      YAML::convert<unsigned>::decode(YAML::Node(text.substr(slash + 1)), length) && length <= 32;
  if (!sound)
    refuse(node, fmt::format("an address is written like 10.0.100.1/24, or none; not {}", shown(node)));
  return text;
}

// ---- maps and lists ------------------------------------------------------------------------------------

void check_keys(const YAML::Node &map, const char *what, std::initializer_list<std::string_view> known) {
  if (!map.IsMap()) refuse(map, fmt::format("{} is a map, not {}", what, shown(map)));
  std::set<std::string> seen;
  for (const auto &entry : map) {
    const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "";
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      std::string all;
      for (const auto word : known) all += fmt::format("{}{}", all.empty() ? "" : ", ", word);
      refuse(entry.first, fmt::format("{} has no {}; it may have {}", what, shown(entry.first), all));
    }
    if (!seen.insert(key).second) refuse(entry.first, fmt::format("'{}' is defined twice", key));
  }
}

const YAML::Node &required(const YAML::Node &map, const YAML::Node &value, const char *key) {
  if (!value) refuse(map, fmt::format("'{}' is missing here", key));
  return value;
}

void check_list(const YAML::Node &node, const char *what) {
  if (!node.IsSequence()) refuse(node, fmt::format("'{}' is a list, not {}", what, shown(node)));
}

std::vector<VlanId> vlan_list(const YAML::Node &node) {
  check_list(node, "vlans");
  std::vector<VlanId> vlans;
  for (const auto &item : node) {
    const VlanId vlan = vlan_of(item);
    if (std::find(vlans.begin(), vlans.end(), vlan) != vlans.end())
      refuse(item, fmt::format("VLAN {} is listed twice", vlan.value));
    vlans.push_back(vlan);
  }
  if (vlans.size() > vlans_per_node) refuse(node, fmt::format("a node has at most {} VLANs", vlans_per_node));
  return vlans;
}

// ---- nodes and ports -----------------------------------------------------------------------------------

void set_addresses(NodeDescription &node, const YAML::Node &map) {
  if (!map) return;
  if (!map.IsMap()) refuse(map, fmt::format("'addresses' is a map from VLAN to address, not {}", shown(map)));
  for (const auto &entry : map) {
    const VlanId vlan = vlan_of(entry.first);
    const auto access = std::find_if(node.access.begin(), node.access.end(),
                                     [&](const AccessInterface &each) { return each.vlan == vlan; });
    if (access == node.access.end())
      refuse(entry.first, fmt::format("{} has no VLAN {}; add it to its vlans", node.name, vlan.value));
    access->address = address_text(entry.second);
  }
}

class Reader {
 public:
  Description read(const YAML::Node &root) {
    check_keys(root, "a chassis", {"name", "board", "amm", "ports", "port_channels", "incompatible"});
    if (root["name"]) description_.name = name_text(root["name"], "a chassis's name");
    if (root["board"]) read_board(root["board"]);
    if (root["port_channels"]) read_channels(root["port_channels"]);
    if (root["ports"]) read_ports(root["ports"]);
    add_bare_members();
    read_amm(root["amm"]);
    if (root["incompatible"]) read_incompatible(root["incompatible"]);
    return std::move(description_);
  }

 private:
  void read_board(const YAML::Node &node) {
    if (!node.IsScalar() || (node.Scalar() != "82" && node.Scalar() != "83"))
      refuse(node, fmt::format("'board' is 82 or 83, not {}", shown(node)));
    description_.board = node.Scalar() == "82" ? Board::b82 : Board::b83;
  }

  void read_channels(const YAML::Node &list) {
    check_list(list, "port_channels");
    for (const auto &item : list) read_channel(item);
  }

  void read_channel(const YAML::Node &item) {
    check_keys(item, "a port-channel", {"channel", "members", "vlans"});
    const YAML::Node number_node = item["channel"], members = item["members"], vlans = item["vlans"];
    PortChannelDescription channel;
    channel.channel = number(required(item, number_node, "channel"), "a port-channel", 1, port_channel_max);
    for (const auto &other : description_.port_channels) {
      if (other.channel == channel.channel)
        refuse(number_node, fmt::format("port-channel {} is defined twice", channel.channel));
    }
    channel.vlans = vlan_list(required(item, vlans, "vlans"));
    check_list(required(item, members, "members"), "members");
    for (const auto &member : members) channel.members.push_back(read_member(member, channel));
    if (channel.members.empty()) refuse(members, "a port-channel has at least one member");
    description_.port_channels.push_back(std::move(channel));
  }

  FrontPort read_member(const YAML::Node &node, const PortChannelDescription &channel) {
    const FrontPort port = port_number(node);
    if (!channel_vlans_.emplace(port, channel.vlans).second)
      refuse(node, fmt::format("port {} is already a member of a port-channel", port.value));
    return port;
  }

  void read_ports(const YAML::Node &list) {
    check_list(list, "ports");
    for (const auto &item : list) read_port(item);
  }

  void read_port(const YAML::Node &item) {
    check_keys(item, "a port", {"port", "blade", "attach", "vlans", "addresses", "link"});
    const YAML::Node port_node = item["port"];
    PortDescription port;
    port.port = port_number(required(item, port_node, "port"));
    for (const auto &other : description_.ports) {
      if (other.port == port.port)
        refuse(port_node, fmt::format("port {} is defined twice", port.port.value));
    }
    port.vlans = vlans_of_port(item, port.port);
    if (item["link"]) port.link_up = link_is_up(item["link"]);
    read_far_end(item, port);
    description_.ports.push_back(std::move(port));
  }

  std::vector<VlanId> vlans_of_port(const YAML::Node &item, FrontPort port) const {
    const auto channel = channel_vlans_.find(port);
    if (channel == channel_vlans_.end())
      return item["vlans"] ? vlan_list(item["vlans"]) : std::vector<VlanId>{sol_vlan};
    if (item["vlans"]) {
      refuse(
          item["vlans"],
          fmt::format("port {} carries the VLANs of its port-channel; remove its own 'vlans'", port.value));
    }
    return channel->second;
  }

  void read_far_end(const YAML::Node &item, PortDescription &port) {
    const YAML::Node blade = item["blade"], attach = item["attach"], addresses = item["addresses"];
    if (blade && attach) refuse(attach, "a port has a blade or is attached to an interface, not both");
    if (addresses && !blade) refuse(addresses, "only a blade has addresses");
    if (attach) {
      port.attach = device_text(attach);
      if (!attached_.insert(port.attach).second)
        refuse(attach, fmt::format("interface {} is already attached to another port", port.attach));
    }
    if (!blade) return;
    const std::string name = name_text(blade, "a blade's name");
    if (name == "amm" || name == "switch")
      refuse(blade, fmt::format("'{}' is the name of another node", name));
    if (!blades_.insert(name).second)
      refuse(blade, fmt::format("blade '{}' is already at another port", name));
    port.blade = make_node(name, port.vlans, blade_station(port.port));
    set_addresses(*port.blade, addresses);
  }

  /// Adds the members of a channel that `ports` does not list: they too have links and VLANs.
  void add_bare_members() {
    for (const auto &member : channel_vlans_) {
      const bool listed = std::any_of(description_.ports.begin(), description_.ports.end(),
                                      [&](const PortDescription &each) { return each.port == member.first; });
      if (!listed) description_.ports.push_back({member.first, std::nullopt, "", member.second, true});
    }
  }

  void read_amm(const YAML::Node &node) {
    if (node) check_keys(node, "the amm", {"vlans", "addresses"});
    const bool has_vlans = node && node["vlans"];
    description_.amm = make_node("amm", has_vlans ? vlan_list(node["vlans"]) : vlans_of_ports(), amm_station);
    if (node) set_addresses(description_.amm, node["addresses"]);
  }

  /// The default VLANs of the AMM: all that some port carries, the SoL VLAN first.
  std::vector<VlanId> vlans_of_ports() const {
    std::set<VlanId, std::greater<>> vlans{sol_vlan};
    for (const auto &port : description_.ports) vlans.insert(port.vlans.begin(), port.vlans.end());
    return {vlans.begin(), vlans.end()};
  }

  void read_incompatible(const YAML::Node &list) {
    check_list(list, "incompatible");
    for (const auto &item : list) {
      check_keys(item, "an incompatible VLAN", {"vlan"});
      const YAML::Node vlan = item["vlan"];
      description_.incompatible.push_back(vlan_of(required(item, vlan, "vlan")));
    }
  }

  Description description_;
  std::map<FrontPort, std::vector<VlanId>> channel_vlans_;
  std::set<std::string> blades_, attached_;
};

host::Result<std::string> file_text(const std::filesystem::path &file) {
  std::error_code error;
  const bool regular = std::filesystem::is_regular_file(file, error);
  if (error) return host::failure(fmt::format("{}:1: cannot be read: {}", file.string(), error.message()));
  if (!regular)
    return host::failure(fmt::format("{}:1: a chassis description must be a regular file", file.string()));
  std::ifstream stream(file);
  std::string text(file_limit + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (stream.bad() || !(stream || stream.eof()))
    return host::failure(fmt::format("{}:1: cannot be read", file.string()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  if (text.size() > file_limit)
    return host::failure(fmt::format("{}:1: a description has at most {} bytes", file.string(), file_limit));
  return text;
}

}  // namespace

host::Result<Description> parse_description(const std::string &text, const std::string &file) {
  try {
    const YAML::Node root = YAML::Load(text);
    return root.IsNull() ? default_description() : Reader().read(root);
  } catch (const Mistake &mistake) {
    return host::failure(fmt::format("{}:{}: {}", file, std::max(mistake.line, 1), mistake.text));
  } catch (const YAML::Exception &error) {
    return host::failure(
        fmt::format("{}:{}: not YAML: {}", file, std::max(error.mark.line + 1, 1), error.msg));
  }
}

host::Result<Description> read_description(const std::filesystem::path &file) {
  return file_text(file).and_then(
      [&](const std::string &text) { return parse_description(text, file.string()); });
}

}  // namespace chassis
