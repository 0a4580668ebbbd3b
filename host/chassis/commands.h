// The subcommands of the `chassis` program. Each adds itself to the command line and, when chosen, runs
// from its callback; a command's exit status is thrown as CLI::RuntimeError(status).
#pragma once

#include <CLI/CLI.hpp>

namespace chassis {

void add_run_command(CLI::App &app);      ///< run [FILE] [-- COMMAND…]
void add_exec_command(CLI::App &app);     ///< exec NODE COMMAND…
void add_capture_command(CLI::App &app);  ///< capture POINT
void add_status_command(CLI::App &app);   ///< status [--json]
void add_event_command(CLI::App &app);    ///< event …
void add_trace_command(CLI::App &app);    ///< trace [--follow] [--category …]

}  // namespace chassis
