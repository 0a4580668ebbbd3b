// Declares every word that the program accepts. Only this file includes the command-line library, because it
// takes longer to compile than all subcommands together.
#include "host/chassis/commands/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>

#include "host/chassis/commands/commands.h"
#include "host/chassis/endpoint/faults.h"

namespace chassis {
namespace {

/// The parsed command line: the options of every subcommand, and the chosen subcommand.
struct Choice {
  std::optional<Words> after_dashes;
  RunOptions run;
  ExecOptions exec;
  CaptureOptions capture;
  StatusOptions status;
  EventOptions event;
  TraceOptions trace;
  std::function<host::Result<int>()> carry_out;
};

/// The command at the end of a subcommand: the words that are left over, then the words after "--".
Words trailing_command(Words command, const std::optional<Words> &after_dashes) {
  if (!after_dashes) return command;
  if (!command.empty()) command.emplace_back("--");
  command.insert(command.end(), after_dashes->begin(), after_dashes->end());
  return command;
}

void add_run_words(CLI::App &command, RunOptions &options) {
  command.add_option("FILE", options.file,
                     "Read the chassis's description (YAML) from FILE; default: a built-in board 82");
  command.add_option("--name", options.name, "Set the chassis's name; only one of each name runs at a time");
  command.add_option("--daemon", options.daemon, "Run this daemon; default: tesk in this program's folder");
  command
      .add_option("--fault", options.faults,
                  "Make a platform service fail: SERVICE=refuse or SERVICE=silent; may be repeated")
      ->allow_extra_args(false);
}

void add_run(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand(
      "run", "Start a chassis, run a command in it, and stop the chassis: run [FILE] [-- COMMAND...]");
  add_run_words(*command, choice.run);
  command->footer(
      "Without COMMAND, the shell cush runs. The command starts when the daemon serves. The exit status is\n"
      "that of the command: 128 plus the signal's number when a signal ended it. It is 1 when the chassis\n"
      "did not come up, and 2 for a wrong command line. The command sees the machine's files read-only and\n"
      "may write to the current folder and /tmp. It finds chassis and cush in PATH; OPAL_RUN_DIR is set.\n"
      "Examples:\n"
      "  chassis run\n"
      "  chassis run examples/board83.yaml -- cush -c \"show cin vlans\"\n"
      "  chassis run --name lab -- chassis exec amm ping -c 3 10.255.255.11\n"
      "  chassis run --fault ltlsvc=silent -- chassis status");
  command->callback([&choice] {
    choice.run.command = choice.after_dashes;
    choice.carry_out = [&choice] { return run_chassis(choice.run); };
  });
}

void add_inside(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand("inside", "Run the chassis in the sandbox, for `run`");
  command->group("");
  add_run_words(*command, choice.run);
  command->add_flag("--terminal", choice.run.terminal);
  command->callback([&choice] {
    choice.run.command = choice.after_dashes;
    choice.carry_out = [&choice] { return run_in_sandbox(choice.run); };
  });
}

void add_exec(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand("exec", "Run a command in a node of a running chassis");
  command->add_option("--name", choice.exec.name,
                      "Choose the chassis; needed only outside it, when several are running");
  command
      ->add_option("NODE", choice.exec.node, "amm, a blade's name, or switch for the network of the daemon")
      ->required();
  command->prefix_command();
  command->footer(
      "Examples:\n"
      "  chassis exec amm ping -c 3 10.255.255.11\n"
      "  chassis exec blade1 tcpdump -n -e -i trunk0\n"
      "  chassis exec switch ip -brief link");
  command->callback([command, &choice] {
    choice.exec.command = trailing_command(command->remaining(), choice.after_dashes);
    choice.carry_out = [&choice] { return execute(choice.exec); };
  });
}

void add_capture(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand("capture", "Show the frames that pass a point, in both directions");
  command->add_option("--name", choice.capture.name,
                      "Choose the chassis; needed only outside it, when several are running");
  command
      ->add_option(
          "POINT", choice.capture.point,
          "amm, a blade's name or an attached interface: its wire; inb0, mgmt0 or mgmt1: the daemon's "
          "device, without ASIC headers")
      ->required();
  command->prefix_command();
  command->footer(
      "After POINT come options and filters of tcpdump, which shows or writes the frames; default: -l -n -e.\n"
      "The capture has started when tcpdump prints what it reads from.\n"
      "Examples:\n"
      "  chassis capture blade1\n"
      "  chassis capture inb0 -U -w inband.pcap\n"
      "  chassis capture amm -l -n -c 2 vlan 100 and icmp");
  command->callback([command, &choice] {
    choice.capture.tcpdump = trailing_command(command->remaining(), choice.after_dashes);
    choice.carry_out = [&choice] { return capture(choice.capture); };
  });
}

void add_status(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand(
      "status",
      "Show the daemon, ports, VLANs, the kernel device compared with the chassis, and the services");
  command->add_flag("--json", choice.status.json, "Print one JSON object instead of tables");
  command->add_option("--name", choice.status.name, "Choose the chassis, when several are running");
  command->callback([&choice] {
    choice.carry_out = [&choice] { return print_status(choice.status).map([] { return 0; }); };
  });
}

void add_trace(CLI::App &app, Choice &choice) {
  TraceOptions &options = choice.trace;
  CLI::App *command =
      app.add_subcommand("trace", "Show the daemon's trace history, while it runs and after its death");
  command->add_flag("--follow", options.follow, "Continue with new events");
  command->add_option("--category", options.categories, "Show only packet, control or error; may be repeated")
      ->check(CLI::IsMember({"packet", "control", "error"}));
  command->add_flag("--since-start", options.since_start, "Show only the events of the present daemon");
  command->add_flag("--json", options.json, "Print one JSON object on each line");
  command->add_option("--name", options.name, "Choose the chassis, when several are running");
  command->callback([&choice] {
    choice.carry_out = [&choice] { return print_trace(choice.trace).map([] { return 0; }); };
  });
}

/// The subcommands of `event`, which share their options.
class EventCommands {
 public:
  EventCommands(CLI::App &app, Choice &choice)
      : event_(*app.add_subcommand("event",
                                   "Make an event happen in the chassis, and wait until the daemon has "
                                   "handled it")),
        choice_(choice) {
    event_.add_flag("--json", options().json, "Print the answer as JSON");
    event_.add_option("--name", options().name, "Choose the chassis, when several are running");
    event_.require_subcommand(1);
    event_.footer("PORT is 3, 1/3, ethernet 1/3, a blade's name or port-channel 7.");
  }

  EventOptions &options() { return choice_.event; }

  CLI::App &add(const std::string &name, const char *help) {
    CLI::App *command = event_.add_subcommand(name, help);
    command->fallthrough();
    command->callback([&choice = choice_, name] {
      choice.event.event = name;
      choice.carry_out = [&choice] { return make_event(choice.event).map([] { return 0; }); };
    });
    return *command;
  }

  void add_choice(CLI::App &command, const Words &choices) {
    command.add_option("choice", options().choice, fmt::format("{}", fmt::join(choices, " or ")))
        ->required()
        ->check(CLI::IsMember(choices));
  }

 private:
  CLI::App &event_;
  Choice &choice_;
};

void add_port_events(EventCommands &events) {
  EventOptions &options = events.options();
  events.add_choice(events.add("line-card", "Set the line card online or offline"), {"online", "offline"});

  CLI::App &link =
      events.add("link", "Set the link of a port, or of all members of a port-channel, up or down");
  events.add_choice(link, {"up", "down"});
  link.add_option("PORT", options.words, "The port")->required();

  CLI::App &vlan = events.add("vlan", "Set a VLAN up or down on a port");
  events.add_choice(vlan, {"up", "down"});
  vlan.add_option("PORT_VLAN", options.words, "The port and the VLAN")->required();

  CLI::App &cbl = events.add("cbl", "Block a VLAN on a port, or let the port forward it");
  events.add_choice(cbl, {"block", "forward"});
  cbl.add_option("PORT_VLAN", options.words, "The port and the VLAN")->required();

  CLI::App &channel = events.add("channel", "Add a port to a port-channel, or remove it");
  events.add_choice(channel, {"add", "remove"});
  channel.add_option("CHANNEL", options.number, "The port-channel's number")->required();
  channel.add_option("PORT", options.words, "The port")->required();
}

void add_vlan_manager_events(EventCommands &events) {
  EventOptions &options = events.options();
  events.add("vlan-delete", "Delete VLANs in the VLAN manager")
      .add_option("VLAN", options.words, "The VLANs")
      ->required();

  CLI::App &feature = events.add("feature", "Set or remove a feature that excludes CIN on a VLAN");
  events.add_choice(feature, {"on", "off"});
  feature.add_option("VLAN", options.number, "The VLAN")->required();
  feature.add_option("--feature", options.subject, "2 for private VLANs (the default), 3 for storage");
}

std::string fault_help() {
  std::string help = "NAME is one of:\n";
  for (const FaultName &fault : fault_names()) help += fmt::format("  {:<18} {}\n", fault.name, fault.effect);
  return help;
}

void add_daemon_events(EventCommands &events) {
  EventOptions &options = events.options();
  events.add("save", "Let the supervisor request that the daemon saves its configuration to start-up");
  events.add_choice(events.add("daemon", "Kill the daemon and start it again"), {"restart"});
  events.add("wait-ready", "Wait until the daemon serves")
      .add_option("--timeout", options.timeout_ms, "Wait at most this many milliseconds")
      ->check(CLI::Range(0, 60'000));

  CLI::App &fault =
      events.add("fault", "Make a service of the platform fail from now on, or work normally again");
  fault.add_option("NAME", options.subject, "The service")->required();
  events.add_choice(fault, {"normal", "refuse", "silent", "delay"});
  fault.add_option("MS", options.number, "The delay in milliseconds");
  fault.footer(fault_help());

  CLI::App &trace =
      events.add("trace", "Switch the printing of a trace category to the daemon's log on or off");
  trace.add_option("CATEGORY", options.subject, "packet, control or error")
      ->required()
      ->check(CLI::IsMember({"packet", "control", "error"}));
  events.add_choice(trace, {"on", "off"});
}

void add_event(CLI::App &app, Choice &choice) {
  EventCommands events(app, choice);
  add_port_events(events);
  add_vlan_manager_events(events);
  add_daemon_events(events);
}

/// Removes and returns the words after "--". CLI11 would give them to the next positional argument; here they
/// are a command.
std::optional<Words> cut_dashes(Words &words) {
  const auto dashes = std::find(words.begin(), words.end(), "--");
  if (dashes == words.end()) return {};
  Words behind(dashes + 1, words.end());
  words.erase(dashes, words.end());
  return behind;
}

bool has_subcommand(const CLI::App &app, const std::string &name) {
  return !app.get_subcommands([&](const CLI::App *each) { return each->get_name() == name; }).empty();
}

int refuse(std::string sentence) {
  std::replace(sentence.begin(), sentence.end(), '\n', ' ');
  std::cerr << "chassis: " << sentence << "; see chassis --help\n";
  return 2;
}

int carry_out(const Choice &choice) {
  const host::Result<int> status = choice.carry_out();
  if (status) return *status;
  const host::Failure &failure = status.error();
  if (failure.cause == host::not_understood()) return refuse(failure.what);
  std::cerr << "chassis: " << failure.what << '\n';
  return host::exit_status(failure);
}

}  // namespace

int run_command_line(int count, char **words) {
  CLI::App app{
      "Run a virtual switch chassis that carries real frames: switch ASIC, blades, platform services and "
      "the daemon with its supervisor, in a sandbox that leaves nothing behind."};
  Choice choice;
  app.set_version_flag("--version", std::string("chassis ") + CHASSIS_VERSION);
  app.require_subcommand(1);
  add_run(app, choice);
  add_inside(app, choice);
  add_exec(app, choice);
  add_capture(app, choice);
  add_status(app, choice);
  add_event(app, choice);
  add_trace(app, choice);

  Words arguments(words + 1, words + count);
  choice.after_dashes = cut_dashes(arguments);
  // CLI11 would only say that a subcommand is missing.
  if (!arguments.empty() && !arguments[0].starts_with('-') && !has_subcommand(app, arguments[0])) {
    return refuse("there is no subcommand '" + arguments[0] + "'");
  }
  std::reverse(arguments.begin(), arguments.end());  // CLI11 expects a vector in reverse order
  // The library throws for a wrong command line, and also for --help and --version.
  try {
    app.parse(arguments);
  } catch (const CLI::Success &shown) {
    return app.exit(shown);
  } catch (const CLI::ParseError &error) {
    return refuse(error.what());
  }
  return carry_out(choice);
}

}  // namespace chassis
