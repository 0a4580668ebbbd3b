// The subcommands of the `chassis` program: for each a record of the words it was given, and a function
// that carries it out. The record's defaults are the command line's; command_line.cpp fills it in.
//
// A function throws WrongCommandLine for words that cannot go together or mean nothing, and Failure when
// what they ask for fails. Those that return a number return the program's exit status; for the others it is
// 0.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace chassis {

using Words = std::vector<std::string>;

/// One sentence about the command line, beginning with the words at fault.
class WrongCommandLine : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

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

int run_chassis(const RunOptions &options);
int run_in_sandbox(const RunOptions &options);
int execute(const ExecOptions &options);
int capture(const CaptureOptions &options);
void print_status(const StatusOptions &options);
void make_event(const EventOptions &options);
void print_trace(const TraceOptions &options);

}  // namespace chassis
