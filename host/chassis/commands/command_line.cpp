// Every word that the program accepts is declared here and nowhere else: the command line's library takes
// longer to compile than all subcommands together.
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

/// What the words say: the options of every subcommand, of which one is chosen.
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

/// The command that a subcommand ends with: the words that it left over, then those behind "--".
Words trailing_command(Words command, const std::optional<Words> &after_dashes) {
  if (!after_dashes) return command;
  if (!command.empty()) command.emplace_back("--");
  command.insert(command.end(), after_dashes->begin(), after_dashes->end());
  return command;
}

void add_run_words(CLI::App &command, RunOptions &options) {
  command.add_option("FILE", options.file,
                     "Description of the chassis (YAML); the built-in 82 board without one");
  command.add_option("--name", options.name, "Name of the chassis; one of a name runs at a time");
  command.add_option("--daemon", options.daemon, "The daemon to run; tesk beside this program without this");
  command
      .add_option("--fault", options.faults,
                  "SERVICE=refuse or SERVICE=silent: a platform service that fails; may be repeated")
      ->allow_extra_args(false);
}

void add_run(CLI::App &app, Choice &choice) {
  CLI::App *command = app.add_subcommand(
      "run", "Start a chassis, run a command in it, and take everything down: run [FILE] [-- COMMAND...]");
  add_run_words(*command, choice.run);
  command->footer(
      "COMMAND is the shell, cush, when none is given; it runs once the daemon serves, and its exit status\n"
      "is the program's (128 and the signal's number when a signal ended it; 1 when the chassis did not\n"
      "come up; 2 for a wrong command line). It sees the machine's files read-only, may write in the current\n"
      "folder and in a /tmp of its own, and finds chassis, cush and OPAL_RUN_DIR in its environment.\n"
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
  CLI::App *command = app.add_subcommand("inside", "What `run` executes in the sandbox");
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
  command->add_option("--name", choice.exec.name, "Chassis; not needed inside it, or when only one runs");
  command
      ->add_option("NODE", choice.exec.node,
                   "amm, a blade's name, or switch for the daemon's own surroundings")
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
  CLI::App *command = app.add_subcommand("capture", "Watch the frames that pass a point, in both directions");
  command->add_option("--name", choice.capture.name, "Chassis; not needed inside it, or when only one runs");
  command
      ->add_option(
          "POINT", choice.capture.point,
          "amm, a blade's name or an attached interface: its wire; inb0, mgmt0 or mgmt1: the daemon's "
          "device, ASIC headers taken off")
      ->required();
  command->prefix_command();
  command->footer(
      "What follows POINT are options and filters of tcpdump, which shows or writes the frames (-l -n -e\n"
      "without any). The capture runs once tcpdump says what it reads from.\n"
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
      "Show the daemon, ports, VLANs, the kernel device beside the chassis's truth, and the services");
  command->add_flag("--json", choice.status.json, "One JSON object instead of tables");
  command->add_option("--name", choice.status.name, "The chassis, when several run");
  command->callback([&choice] {
    choice.carry_out = [&choice] { return print_status(choice.status).map([] { return 0; }); };
  });
}

void add_trace(CLI::App &app, Choice &choice) {
  TraceOptions &options = choice.trace;
  CLI::App *command =
      app.add_subcommand("trace", "Show the daemon's trace history, while it runs and after it died");
  command->add_flag("--follow", options.follow, "Go on with what happens next");
  command->add_option("--category", options.categories, "Only packet, control or error; may be repeated")
      ->check(CLI::IsMember({"packet", "control", "error"}));
  command->add_flag("--since-start", options.since_start, "Only what the present daemon has recorded");
  command->add_flag("--json", options.json, "One JSON object on each line");
  command->add_option("--name", options.name, "The chassis, when several run");
  command->callback([&choice] {
    choice.carry_out = [&choice] { return print_trace(choice.trace).map([] { return 0; }); };
  });
}

/// The subcommands of `event`, which share their options.
class EventCommands {
 public:
  EventCommands(CLI::App &app, Choice &choice)
      : event_(*app.add_subcommand("event",
                                   "Make something happen in the chassis; returns once the daemon has "
                                   "handled it")),
        choice_(choice) {
    event_.add_flag("--json", options().json, "Print the answer as JSON");
    event_.add_option("--name", options().name, "The chassis, when several run");
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
  events.add_choice(events.add("line-card", "The line card comes online, or goes offline"),
                    {"online", "offline"});

  CLI::App &link = events.add("link", "A port's link, or the links of a port-channel's members");
  events.add_choice(link, {"up", "down"});
  link.add_option("PORT", options.words, "The port")->required();

  CLI::App &vlan = events.add("vlan", "A VLAN on a port");
  events.add_choice(vlan, {"up", "down"});
  vlan.add_option("PORT_VLAN", options.words, "The port and the VLAN")->required();

  CLI::App &cbl = events.add("cbl", "Whether a port forwards in a VLAN");
  events.add_choice(cbl, {"block", "forward"});
  cbl.add_option("PORT_VLAN", options.words, "The port and the VLAN")->required();

  CLI::App &channel = events.add("channel", "Membership of a port-channel");
  events.add_choice(channel, {"add", "remove"});
  channel.add_option("CHANNEL", options.number, "The port-channel's number")->required();
  channel.add_option("PORT", options.words, "The port")->required();
}

void add_vlan_manager_events(EventCommands &events) {
  EventOptions &options = events.options();
  events.add("vlan-delete", "The VLAN manager deletes VLANs")
      .add_option("VLAN", options.words, "The VLANs")
      ->required();

  CLI::App &feature = events.add("feature", "A feature that excludes CIN, on a VLAN");
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
  events.add("save", "The supervisor asks the daemon to save its configuration to start-up");
  events.add_choice(events.add("daemon", "The daemon is killed and started again"), {"restart"});
  events.add("wait-ready", "Wait until the daemon serves")
      .add_option("--timeout", options.timeout_ms, "Milliseconds")
      ->check(CLI::Range(0, 60'000));

  CLI::App &fault = events.add("fault", "A service of the platform fails, from now on");
  fault.add_option("NAME", options.subject, "The service")->required();
  events.add_choice(fault, {"normal", "refuse", "silent", "delay"});
  fault.add_option("MS", options.number, "Milliseconds of delay");
  fault.footer(fault_help());

  CLI::App &trace = events.add("trace", "The daemon prints a trace category to its log");
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

/// CLI11 gives the words behind "--" to whatever positional comes next; here they are a command.
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
      "A virtual switch chassis that carries real frames: switch ASIC, blades, platform services and "
      "the daemon under its supervisor, in a sandbox that leaves nothing behind."};
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
  std::reverse(arguments.begin(), arguments.end());  // the order in which CLI11 takes a vector
  // The library throws whatever ends a command line.
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
