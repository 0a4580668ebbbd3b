// Lines from a terminal: editing, history, and help while typing (`?` lists, Tab completes).
//
// The history lives as long as the session and is never written to disk.
#pragma once

#include "host/shell/session.h"

namespace shell {

/// Runs the session until `exit` or the end of input. Ctrl-C discards the line and does not end the shell.
[[nodiscard]] host::Result<> run_terminal(Session &session);

}  // namespace shell
