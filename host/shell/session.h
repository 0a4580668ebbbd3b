// One operator's session: reads lines, runs their commands, and shows the results.
//
// Every command but `help`, `exit` and `end` is a message to the program or service that serves it; the
// session keeps only the context. A context is the beginning of a command that the following lines
// continue: after `vlan 100-105`, `cin` means `vlan 100-105 cin` and `no cin` means
// `no vlan 100-105 cin`. A line that does not continue the context is a command of the top level.
// A word that ends in `?` lists what can come there.
//
// Answers go to `out`, failures as one sentence to `err`. In JSON mode, `out` also gets a document for
// each command, including failed ones; a line that is not text gets a document without a command.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/shell/bus_client.h"
#include "host/shell/command_tree.h"
#include "host/shell/output.h"
#include "host/shell/parser.h"

namespace shell {

struct SessionOptions {
  bool json = false;
  bool emphasis = false;    ///< the output is a terminal
  bool keep_going = false;  ///< a failed command does not stop the line
};

class Session {
 public:
  Session(const CommandTree &tree, BusClient &bus_client, SessionOptions options, std::ostream &out,
          std::ostream &err);

  /// Runs the commands of a line. @return status_ok, or the status of the first that failed
  Status run_line(std::string_view line);

  /// Whether `exit` was given at the top level.
  bool ended() const { return ended_; }

  /// "switch# ", or with the context in it.
  std::string prompt() const;

  /// What can come at the end of an unfinished line.
  host::Result<std::vector<Choice>> choices_for(std::string_view line) const;

 private:
  Status run_command(const Words &words);
  CommandResult<Output> answer_to(const Words &words, std::string &name);
  Status show_failure(const std::string &command, const CommandFailure &failure);
  host::Result<Parsed> parse_here(const Words &words) const;
  Words in_context(const Words &words) const;
  CommandResult<Output> carry_out(const Parsed &parsed);
  host::Result<opal::bus::Payload> ask_server(const Command &command, std::uint32_t opcode,
                                              const opal::bus::Payload &request);
  CommandResult<Output> carry_out(const Command &command, const CommandMessage &message,
                                  const Parsed &parsed);
  host::Result<Output> carry_out(const Command &command, const NcfgMessage &message, const Parsed &parsed);
  host::Result<Output> carry_out(const ShowConfigMessage &message, const Parsed &parsed);
  host::Result<Output> save();
  host::Result<Output> enter(const Parsed &parsed);
  void leave(bool to_top);
  host::Result<Output> list_choices(const Words &words) const;
  Output help() const;

  const CommandTree &tree_;
  BusClient &bus_client_;
  SessionOptions options_;
  std::ostream &out_;
  std::ostream &err_;
  Words context_;
  bool ended_ = false;
};

/// Choices as lines for people.
std::string choices_text(const std::vector<Choice> &choices);

}  // namespace shell
