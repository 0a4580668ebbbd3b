#include "host/chassis/commands/status_tables.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "host/text/table.h"

namespace chassis {

namespace {

using host::TableRow;
using nlohmann::json;

constexpr const char *warning_colour = "\033[1;31m";
constexpr const char *heading_colour = "\033[1m";
constexpr const char *plain = "\033[0m";

/// A table under a title; rows that deserve attention are coloured.
class Table {
 public:
  Table(std::string title, const TableRow &heads) : title_(std::move(title)) {
    for (const std::string &head : heads) columns_.push_back({.head = head});
  }

  void add(TableRow row, bool warning = false) {
    rows_.push_back(std::move(row));
    if (warning) warned_lines_.insert(rows_.size());  // line 0 has the heads
  }
  bool empty() const { return rows_.empty(); }

  std::string text(bool colour) const {
    std::string out = fmt::format("{}{}{}\n", colour ? heading_colour : "", title_, colour ? plain : "");
    const std::vector<std::string> lines = host::table_lines(columns_, rows_);
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const bool marked = colour && warned_lines_.contains(i);
      out += fmt::format("{}{}{}\n", marked ? warning_colour : "", set_in(lines[i]), marked ? plain : "");
    }
    return out + "\n";
  }

 private:
  /// The line below its title, without blanks at its end.
  static std::string set_in(const std::string &line) {
    return "  " + line.substr(0, line.find_last_not_of(' ') + 1);
  }

  std::string title_;
  std::vector<host::TableColumn> columns_;
  std::vector<TableRow> rows_;
  std::set<std::size_t> warned_lines_;
};

std::string cell(const json &value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>().empty() ? "-" : value.get<std::string>();
  return value.dump();
}

std::string joined(const json &list) {
  std::string text;
  for (const json &entry : list) text += (text.empty() ? "" : ", ") + cell(entry);
  return text.empty() ? "-" : text;
}

std::string frames(const json &counters) {
  return fmt::format("{}/{}", counters.at("ucast").get<std::uint64_t>(),
                     counters.at("mcast").get<std::uint64_t>());
}

std::string drops(const json &dropped) {
  std::string text;
  for (const auto &[reason, count] : dropped.items()) {
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", reason, count.get<std::uint64_t>());
  }
  return text.empty() ? "-" : text;
}

std::string daemon_text(const json &report, bool colour) {
  const json &chassis = report.at("chassis");
  const json &daemon = report.at("daemon");
  const bool serving = daemon.at("serving").get<bool>();
  Table table(
      fmt::format("Chassis {} (board {}, line card {})", cell(chassis.at("name")), cell(chassis.at("board")),
                  chassis.at("line_card_online").get<bool>() ? "online" : "offline"),
      {"DAEMON", "PID", "STARTS", "HEARTBEATS", "OUTAGE MS", "LAST EXIT"});
  table.add({cell(daemon.at("state")), cell(daemon.at("pid")), cell(daemon.at("starts")),
             cell(daemon.at("heartbeats")), cell(daemon.at("outage_ms")), cell(daemon.at("last_exit"))},
            !serving);
  return table.text(colour);
}

std::string ports_text(const json &report, bool colour) {
  Table table("Ports (frames on the wire: unicast/multicast)",
              {"PORT", "ASIC", "LINK", "CHANNEL", "VLANS UP", "DOWN", "BLOCKED", "RX", "TX", "DROPPED"});
  for (const json &port : report.at("ports")) {
    const json &vlans = port.at("vlans");
    table.add({cell(port.at("name")), cell(port.at("asic_port")), cell(port.at("link")),
               cell(port.at("channel")), cell(vlans.at("up")), cell(vlans.at("down")),
               cell(vlans.at("blocked")), frames(port.at("rx")), frames(port.at("tx")),
               drops(port.at("dropped"))});
  }
  const json &cpu = report.at("cpu");
  table.add({"CPU", "-", "-", "-", "-", "-", "-", frames(cpu.at("rx")), frames(cpu.at("tx")),
             drops(cpu.at("dropped"))});
  return table.text(colour);
}

std::string channels_text(const json &report, bool colour) {
  Table table("Port-channels", {"CHANNEL", "MEMBERS", "CARRIED BY", "VLANS UP", "DOWN", "BLOCKED"});
  for (const json &channel : report.at("channels")) {
    const json &vlans = channel.at("vlans");
    table.add({cell(channel.at("name")), joined(channel.at("members")), cell(channel.at("first_operational")),
               cell(vlans.at("up")), cell(vlans.at("down")), cell(vlans.at("blocked"))});
  }
  return table.empty() ? "" : table.text(colour);
}

std::string vlans_text(const json &report, bool colour) {
  Table table("VLANs that the daemon asked for or that carry a feature",
              {"VLAN", "TO CPU", "LTL", "FEATURES"});
  for (const json &vlan : report.at("vlans")) {
    table.add({cell(vlan.at("vlan")), cell(vlan.at("classified")), cell(vlan.at("ltl")),
               joined(vlan.at("features"))});
  }
  return table.text(colour);
}

std::string mirrored_vlan_list(const json &vlans) {
  std::string text;
  for (const json &entry : vlans) {
    text += fmt::format("{}{}{}", text.empty() ? "" : ",", entry.at("vlan").get<int>(),
                        entry.at("forwards").get<bool>() ? "" : " (blocked)");
  }
  return text.empty() ? "-" : text;
}

std::string mirror_text(const json &report, bool colour) {
  const json &mirror = report.at("mirror");
  Table ports(fmt::format("Kernel device: ports ({} requests taken, {} refused)", cell(mirror.at("accepted")),
                          cell(mirror.at("refused"))),
              {"PORT", "ASIC", "VLANS", "CHASSIS"});
  for (const json &row : mirror.at("ports")) {
    const json &differences = row.at("differences");
    ports.add({cell(row.at("name")), cell(row.at("asic_port")), mirrored_vlan_list(row.at("vlans")),
               differences.empty() ? "agrees" : "DIFFERS: " + joined(differences)},
              !differences.empty());
  }
  for (const json &missing : mirror.at("missing_ports"))
    ports.add({cell(missing), "-", "-", "DIFFERS: not mirrored"}, true);
  Table vlans("Kernel device: VLANs", {"VLAN", "ASIC PORTS", "CHASSIS"});
  for (const json &row : mirror.at("vlans")) {
    const bool agrees = row.at("differences").empty();
    vlans.add({cell(row.at("vlan")), joined(row.at("asic_ports")),
               agrees ? "agrees" : "DIFFERS: " + joined(row.at("expected_asic_ports"))},
              !agrees);
  }
  return ports.text(colour) + vlans.text(colour);
}

std::string services_text(const json &report, bool colour) {
  Table table("Services (messages)",
              {"SERVICE", "TAKEN", "MALFORMED", "UNKNOWN", "BY FAULT", "NOT SENT", "BAD DATAGRAMS"});
  for (const json &row : report.at("services")) {
    const bool trouble = row.at("malformed") != 0 || row.at("unknown_opcode") != 0 ||
                         row.at("not_sent") != 0 || row.at("dropped_datagrams") != 0;
    table.add({cell(row.at("service")), cell(row.at("taken")), cell(row.at("malformed")),
               cell(row.at("unknown_opcode")), cell(row.at("faulted")), cell(row.at("not_sent")),
               cell(row.at("dropped_datagrams"))},
              trouble);
  }
  Table faults("Faults put in", {"SERVICE", "FAULT"});
  for (const auto &[name, fault] : report.at("faults").items()) faults.add({name, cell(fault)}, true);
  return table.text(colour) + (faults.empty() ? "" : faults.text(colour));
}

std::string devices_text(const json &report, bool colour) {
  if (!report.contains("devices")) return "";
  Table table("Devices", {"COUNTER", "VALUE"});
  const json devices = report.at("devices").flatten();
  for (const auto &[pointer, value] : devices.items()) {
    if (!value.is_null() && value != 0) table.add({pointer.substr(1), cell(value)});
  }
  return table.empty() ? "" : table.text(colour);
}

}  // namespace

std::string status_tables(const json &report, bool colour) {
  return daemon_text(report, colour) + ports_text(report, colour) + channels_text(report, colour) +
         vlans_text(report, colour) + mirror_text(report, colour) + services_text(report, colour) +
         devices_text(report, colour);
}

}  // namespace chassis
