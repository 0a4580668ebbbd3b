// What the machine must have for a sandbox.
#pragma once

#include "host/system/failure.h"

namespace chassis {

/// Checks each prerequisite of the sandbox. The text of a failure says what is missing and how to provide it.
[[nodiscard]] host::Result<> check_prerequisites();

}  // namespace chassis
