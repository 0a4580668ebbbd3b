#include <fmt/format.h>

#include <charconv>
#include <memory>

#include "host/chassis/commands.h"
#include "host/chassis/control_client.h"
#include "host/chassis/faults.h"

namespace chassis {

namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

struct EventOptions {
  std::string name;
  bool json = false;
};

/// What a subcommand's words are read into.
struct EventWords {
  std::string choice;  ///< "up", "add", …
  std::string subject;
  Words words;
  std::int64_t number = 0;
};

constexpr std::int64_t default_wait_ms = 10'000;
constexpr std::chrono::milliseconds answer_margin{2'000};

std::int64_t number_in(const std::string &word, const char *what) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc{} || end != word.data() + word.size()) {
    throw CLI::ValidationError(what, fmt::format("\"{}\" is not a number", word));
  }
  return number;
}

std::string joined(const Words &words) { return fmt::format("{}", fmt::join(words, " ")); }

/// "ethernet 1/3 100" as a port and a VLAN.
json port_and_vlan(const Words &words) {
  if (words.size() < 2) throw CLI::ValidationError("PORT VLAN", "give a port and a VLAN");
  return {{"port", joined({words.begin(), words.end() - 1})}, {"vlan", number_in(words.back(), "VLAN")}};
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
    fmt::print(stderr, "chassis: the event has happened, but the daemon has not taken note of it\n");
  }
}

/// The subcommands of `event`, each with its words and the request that they make.
class EventCommands {
 public:
  explicit EventCommands(CLI::App &app)
      : event_(*app.add_subcommand("event",
                                   "Make something happen in the chassis; returns once the daemon has "
                                   "handled it")),
        options_(std::make_shared<EventOptions>()) {
    event_.add_flag("--json", options_->json, "Print the answer as JSON");
    event_.add_option("--name", options_->name, "The chassis, when several run");
    event_.require_subcommand(1);
    event_.footer("PORT is 3, 1/3, ethernet 1/3, a blade's name or port-channel 7.");
  }

  /// @param request makes the request of the words
  std::shared_ptr<EventWords> add(const char *name, const char *help, CLI::App *&command,
                                  std::function<json(const EventWords &)> request,
                                  std::function<std::chrono::milliseconds(const EventWords &)> bound = {}) {
    auto words = std::make_shared<EventWords>();
    command = event_.add_subcommand(name, help);
    command->fallthrough();
    command->callback([options = options_, words, request = std::move(request), bound = std::move(bound)] {
      const auto longest = bound ? bound(*words) : std::chrono::milliseconds(default_wait_ms);
      print_outcome(ask_chassis(options->name, request(*words), longest + answer_margin), options->json);
    });
    return words;
  }

 private:
  CLI::App &event_;
  std::shared_ptr<EventOptions> options_;
};

void add_choice(CLI::App *command, const std::shared_ptr<EventWords> &words,
                const std::vector<std::string> &choices) {
  command->add_option("choice", words->choice, fmt::format("{}", fmt::join(choices, " or ")))
      ->required()
      ->check(CLI::IsMember(choices));
}

void add_port_events(EventCommands &events) {
  CLI::App *command = nullptr;
  auto words = events.add("line-card", "The line card comes online, or goes offline", command,
                          [](const EventWords &given) -> json {
                            return {{"verb", "line-card"}, {"online", given.choice == "online"}};
                          });
  add_choice(command, words, {"online", "offline"});

  words = events.add("link", "A port's link, or the links of a port-channel's members", command,
                     [](const EventWords &given) -> json {
                       return {{"verb", "link"}, {"port", joined(given.words)}, {"up", given.choice == "up"}};
                     });
  add_choice(command, words, {"up", "down"});
  command->add_option("PORT", words->words, "The port")->required();

  words = events.add("vlan", "A VLAN on a port", command, [](const EventWords &given) {
    json request = port_and_vlan(given.words);
    request.update({{"verb", "vlan"}, {"up", given.choice == "up"}});
    return request;
  });
  add_choice(command, words, {"up", "down"});
  command->add_option("PORT_VLAN", words->words, "The port and the VLAN")->required();

  words = events.add("cbl", "Whether a port forwards in a VLAN", command, [](const EventWords &given) {
    json request = port_and_vlan(given.words);
    request.update({{"verb", "cbl"}, {"forward", given.choice == "forward"}});
    return request;
  });
  add_choice(command, words, {"block", "forward"});
  command->add_option("PORT_VLAN", words->words, "The port and the VLAN")->required();

  words = events.add("channel", "Membership of a port-channel", command, [](const EventWords &given) -> json {
    return {{"verb", "channel"},
            {"channel", given.number},
            {"port", joined(given.words)},
            {"member", given.choice == "add"}};
  });
  add_choice(command, words, {"add", "remove"});
  command->add_option("CHANNEL", words->number, "The port-channel's number")->required();
  command->add_option("PORT", words->words, "The port")->required();
}

void add_vlan_manager_events(EventCommands &events) {
  CLI::App *command = nullptr;
  auto words =
      events.add("vlan-delete", "The VLAN manager deletes VLANs", command, [](const EventWords &given) {
        json request = {{"verb", "vlan-delete"}, {"vlans", json::array()}};
        for (const std::string &word : given.words) request["vlans"].push_back(number_in(word, "VLAN"));
        return request;
      });
  command->add_option("VLAN", words->words, "The VLANs")->required();

  words =
      events.add("feature", "A feature that excludes CIN, on a VLAN", command, [](const EventWords &given) {
        json request = {{"verb", "feature"}, {"on", given.choice == "on"}, {"vlan", given.number}};
        if (!given.subject.empty()) request["feature"] = number_in(given.subject, "--feature");
        return request;
      });
  add_choice(command, words, {"on", "off"});
  command->add_option("VLAN", words->number, "The VLAN")->required();
  command->add_option("--feature", words->subject, "2 for private VLANs (the default), 3 for storage");
}

std::string fault_help() {
  std::string help = "NAME is one of:\n";
  for (const FaultName &fault : fault_names()) help += fmt::format("  {:<18} {}\n", fault.name, fault.effect);
  return help;
}

void add_daemon_events(EventCommands &events) {
  CLI::App *command = nullptr;
  events.add("save", "The supervisor asks the daemon to save its configuration to start-up", command,
             [](const EventWords &) -> json {
               return {{"verb", "save"}};
             });

  auto words =
      events.add("daemon", "The daemon is killed and started again", command, [](const EventWords &) -> json {
        return {{"verb", "daemon-restart"}};
      });
  add_choice(command, words, {"restart"});

  words = events.add(
      "wait-ready", "Wait until the daemon serves", command,
      [](const EventWords &given) -> json {
        return {{"verb", "wait-ready"}, {"bound_ms", given.number}};
      },
      [](const EventWords &given) { return std::chrono::milliseconds(given.number); });
  words->number = default_wait_ms;
  command->add_option("--timeout", words->number, "Milliseconds")->check(CLI::Range(0, 60'000));

  words = events.add("fault", "A service of the platform fails, from now on", command,
                     [](const EventWords &given) {
                       json request = {{"verb", "fault"}, {"name", given.subject}, {"mode", given.choice}};
                       if (given.choice == "delay") request["delay_ms"] = given.number;
                       return request;
                     });
  command->add_option("NAME", words->subject, "The service")->required();
  add_choice(command, words, {"normal", "refuse", "silent", "delay"});
  command->add_option("MS", words->number, "Milliseconds of delay");
  command->footer(fault_help());

  words = events.add(
      "trace", "The daemon prints a trace category to its log", command, [](const EventWords &given) -> json {
        return {{"verb", "trace"}, {"category", given.subject}, {"print", given.choice == "on"}};
      });
  command->add_option("CATEGORY", words->subject, "packet, control or error")
      ->required()
      ->check(CLI::IsMember({"packet", "control", "error"}));
  add_choice(command, words, {"on", "off"});
}

}  // namespace

void add_event_command(CLI::App &app) {
  EventCommands events(app);
  add_port_events(events);
  add_vlan_manager_events(events);
  add_daemon_events(events);
}

}  // namespace chassis
