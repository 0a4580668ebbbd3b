// The subcommands of the `chassis` program. Each has a record of its words and a function that runs it.
// command_line.cpp fills in the record; the record's defaults are the defaults of the command line.
//
// A failure has the cause host::not_understood() when words cannot be combined or are unknown; its text then
// begins with the wrong words. A function that returns a number returns the program's exit status; for the
// others it is 0.
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
  std::string file;              ///< the description of the chassis; "" for the built-in description
  std::string name;              ///< "" for the name in the description
  std::string daemon;            ///< "" for tesk in the folder of this program
  Words faults;                  ///< SERVICE=refuse or SERVICE=silent
  std::optional<Words> command;  ///< the words after "--"; nothing when there is no "--"
  bool terminal = false;         ///< the command gets the controlling terminal
};

/// exec NODE COMMAND…
struct ExecOptions {
  std::string name;  ///< of the chassis; "" for the only one that is running, here and below
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
  std::int64_t timeout_ms = 10'000;  ///< longest wait until the daemon has handled the event
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
