// The sandbox in which a chassis runs. prerequisites.h checks what it needs of the machine; sandbox_entry.h
// enters the sandbox of a running chassis.
//
// `chassis run` executes itself again inside bubblewrap, in user, network, process, IPC and host-name
// namespaces of its own. There it is root and may make devices, without changing the machine. What it sees
// there:
//
//   /                 the machine's own folders, read-only
//   current folder    writable, so that commands can leave their results (unless it is / itself)
//   /tmp              the machine's own, writable: scripts and checkouts are there
//   /run              empty and private; removed with the sandbox. The folder of the chassis programs and
//                     the current folder are visible even when they are in it
//   /run/opal         the run folder: bus, stores, trace, log (see run_folder.h)
//   /dev              the usual few, /dev/net/tun, /dev/fuse, and /dev/klm_tesk
//   /opal/bin         the kernel module's loader
//
// Everything in the sandbox ends with the process that made it, however that process ends. Only those who may
// enter the namespaces of a process of the same user can enter the sandbox.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

struct SandboxPlan {
  std::filesystem::path run_folder;     ///< appears as /run/opal
  std::filesystem::path programs;       ///< folder of the chassis's own programs
  std::string name;                     ///< of the chassis; becomes the host name
  std::filesystem::path daemon;         ///< visible inside wherever it is, as the programs are
  std::vector<std::string> command;     ///< runs inside; its first word is a path
  std::vector<std::string> interfaces;  ///< of the machine; they are in the sandbox while it exists
};

/// Makes the sandbox and runs the command in it. Removes everything when the command ends, or when this
/// process receives SIGINT, SIGTERM or SIGHUP. The command inherits a lifeline (lifeline.h).
/// @return the command's exit status; 128 plus the signal's number when a signal ended it
host::Result<int> run_sandboxed(const SandboxPlan &plan);

}  // namespace chassis
