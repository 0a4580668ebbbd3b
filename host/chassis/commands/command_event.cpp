// `chassis event EVENT …`: makes the request from the words of an event, sends it, and prints the result.
#include <fmt/format.h>

#include <charconv>
#include <map>
#include <nlohmann/json.hpp>

#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/control_client.h"

namespace chassis {

namespace {

using nlohmann::json;

constexpr std::chrono::milliseconds answer_margin{2'000};

host::Result<std::int64_t> number_in(const std::string &word, const char *what) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc{} || end != word.data() + word.size()) {
    return host::failure(host::not_understood(), fmt::format("{}: \"{}\" is not a number", what, word));
  }
  return number;
}

std::string joined(const Words &words) { return fmt::format("{}", fmt::join(words, " ")); }

/// "ethernet 1/3 100" as a port and a VLAN of the request.
host::Result<json> with_port_and_vlan(const Words &words, json request) {
  if (words.size() < 2) return host::failure(host::not_understood(), "PORT VLAN: give a port and a VLAN");
  host::Result<std::int64_t> vlan = number_in(words.back(), "VLAN");
  if (!vlan) return failed(std::move(vlan));
  request["port"] = joined({words.begin(), words.end() - 1});
  request["vlan"] = *vlan;
  return request;
}

host::Result<json> line_card(const EventOptions &given) { return json{{"online", given.choice == "online"}}; }

host::Result<json> link(const EventOptions &given) {
  return json{{"port", joined(given.words)}, {"up", given.choice == "up"}};
}

host::Result<json> vlan(const EventOptions &given) {
  return with_port_and_vlan(given.words, {{"up", given.choice == "up"}});
}

host::Result<json> cbl(const EventOptions &given) {
  return with_port_and_vlan(given.words, {{"forward", given.choice == "forward"}});
}

host::Result<json> channel(const EventOptions &given) {
  return json{{"channel", given.number}, {"port", joined(given.words)}, {"member", given.choice == "add"}};
}

host::Result<json> vlan_delete(const EventOptions &given) {
  json vlans = json::array();
  for (const std::string &word : given.words) {
    host::Result<std::int64_t> vlan = number_in(word, "VLAN");
    if (!vlan) return failed(std::move(vlan));
    vlans.push_back(*vlan);
  }
  return json{{"vlans", vlans}};
}

host::Result<json> feature(const EventOptions &given) {
  json request = {{"on", given.choice == "on"}, {"vlan", given.number}};
  if (given.subject.empty()) return request;
  host::Result<std::int64_t> number = number_in(given.subject, "--feature");
  if (!number) return failed(std::move(number));
  request["feature"] = *number;
  return request;
}

host::Result<json> wait_ready(const EventOptions &given) { return json{{"bound_ms", given.timeout_ms}}; }

host::Result<json> fault(const EventOptions &given) {
  json request = {{"name", given.subject}, {"mode", given.choice}};
  if (given.choice == "delay") request["delay_ms"] = given.number;
  return request;
}

host::Result<json> trace(const EventOptions &given) {
  return json{{"category", given.subject}, {"print", given.choice == "on"}};
}

host::Result<json> nothing_else(const EventOptions &) { return json::object(); }

/// How an event is requested: the verb of the request, and its other members.
struct EventRow {
  const char *verb;
  host::Result<json> (*members)(const EventOptions &given);
};

host::Result<json> request_of(const EventOptions &given) {
  static const std::map<std::string_view, EventRow> events{
      {"line-card", {"line-card", line_card}},
      {"link", {"link", link}},
      {"vlan", {"vlan", vlan}},
      {"cbl", {"cbl", cbl}},
      {"channel", {"channel", channel}},
      {"vlan-delete", {"vlan-delete", vlan_delete}},
      {"feature", {"feature", feature}},
      {"save", {"save", nothing_else}},
      {"daemon", {"daemon-restart", nothing_else}},
      {"wait-ready", {"wait-ready", wait_ready}},
      {"fault", {"fault", fault}},
      {"trace", {"trace", trace}},
  };
  const EventRow &row = events.at(given.event);
  host::Result<json> request = row.members(given);
  if (request) (*request)["verb"] = row.verb;
  return request;
}

void print_outcome(const json &answer, bool as_json) {
  if (as_json) {
    fmt::print("{}\n", answer.dump(2));
  } else if (answer.contains("pid")) {
    fmt::print("tesk serves as process {}", answer["pid"].get<int>());
    if (answer.contains("outage_ms") && !answer["outage_ms"].is_null()) {
      fmt::print(", after an outage of {} ms", answer["outage_ms"].get<std::int64_t>());
    }
    fmt::print("\n");
  } else if (answer.contains("handled_by_daemon") && !answer["handled_by_daemon"].get<bool>()) {
    fmt::print(stderr, "chassis: the event has happened, but the daemon has not handled it\n");
  }
}

}  // namespace

host::Result<> make_event(const EventOptions &options) {
  const auto handling = std::chrono::milliseconds(options.timeout_ms);
  return request_of(options)
      .and_then(
          [&](const json &request) { return ask_chassis(options.name, request, handling + answer_margin); })
      .map([&](const json &answer) { print_outcome(answer, options.json); });
}

}  // namespace chassis
