// The sandbox that a chassis lives in. What it needs of the machine is in prerequisites.h, the way into a
// running one in sandbox_entry.h.
//
// `chassis run` re-executes itself inside bubblewrap: own user, network, process, IPC and host-name
// namespaces, in which it is root and may make devices, without touching the machine. What is seen there:
//
//   /                 the machine's own folders, read-only
//   current folder    writable, so that commands can leave their results (unless it is / itself)
//   /tmp              the machine's own, writable: scripts and checkouts lie there
//   /run              empty and private; gone with the sandbox. The folder of the chassis's programs and the
//                     current folder show through even when they lie there
//   /run/opal         the run folder: bus, stores, trace, log (see run_folder.h)
//   /dev              the usual few, /dev/net/tun, /dev/fuse, and /dev/klm_tesk
//   /opal/bin         the kernel module's loader
//
// Everything in the sandbox dies with the process that made it, whatever way that one ends. Who is let in:
// whoever may enter the namespaces of a process of the same user, and nobody else.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

struct SandboxPlan {
  std::filesystem::path run_folder;     ///< appears as /run/opal
  std::filesystem::path programs;       ///< folder of the chassis's own programs
  std::string name;                     ///< the chassis's; becomes the host name
  std::filesystem::path daemon;         ///< shows through wherever it lies, as the programs do
  std::vector<std::string> command;     ///< runs inside; its first word is a path
  std::vector<std::string> interfaces;  ///< of the machine; they are moved in while the sandbox lasts
};

/// Makes the sandbox, runs the command in it and takes everything down when the command ends or when this
/// process is told to end (SIGINT, SIGTERM, SIGHUP). The command inherits a lifeline (lifeline.h).
/// @return the command's exit status; 128 and the signal's number when a signal ended it
host::Result<int> run_sandboxed(const SandboxPlan &plan);

}  // namespace chassis
