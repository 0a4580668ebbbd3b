// The subcommands of the `chassis` program: for each a record of the words it was given, and a function
// that carries it out. The record's defaults are the command line's; command_line.cpp fills it in.
//
// The cause of a failure is host::not_understood() for words that cannot go together or mean nothing; the sentence
// then begins with the words at fault. Functions that yield a number yield the program's exit status; for the others
// it is 0.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

using Words = std::vector<std::string>;

/// run [FILE] [-- COMMAND…], and `inside`, which run executes in the sandbox
struct RunOptions {
  std::string file;              ///< the chassis's description; "" for the built-in one
  std::string name;              ///< "" for the description's
  std::string daemon;            ///< "" for the one beside this program
  Words faults;                  ///< SERVICE=refuse or SERVICE=silent
  std::optional<Words> command;  ///< what stands behind "--"; nothing when there is no "--"
  bool terminal = false;         ///< the command gets the terminal for itself
};

/// exec NODE COMMAND…
struct ExecOptions {
  std::string name;  ///< of the chassis; "" for the only one that runs, here and below
  std::string node;
  Words command;
};

/// capture POINT [tcpdump's options and filters]
struct CaptureOptions {
  std::string name;
  std::string point;
  Words tcpdump;
};

/// status [--json]
struct StatusOptions {
  std::string name;
  bool json = false;
};

/// event EVENT …
struct EventOptions {
  std::string name;
  bool json = false;
  std::string event;   ///< "link", "vlan-delete", …
  std::string choice;  ///< "up", "add", …
  std::string subject;
  Words words;
  std::int64_t number = 0;
  std::int64_t timeout_ms = 10'000;  ///< how long the event may take until the daemon has handled it
};

/// trace [--follow] [--category …]
struct TraceOptions {
  std::string name;
  Words categories;
  bool follow = false;
  bool json = false;
  bool since_start = false;
};

host::Result<int> run_chassis(const RunOptions &options);
host::Result<int> run_in_sandbox(const RunOptions &options);
host::Result<int> execute(const ExecOptions &options);
host::Result<int> capture(const CaptureOptions &options);
host::Result<> print_status(const StatusOptions &options);
host::Result<> make_event(const EventOptions &options);
host::Result<> print_trace(const TraceOptions &options);

}  // namespace chassis
