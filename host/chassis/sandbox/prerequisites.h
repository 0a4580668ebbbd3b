// What a sandbox needs of the machine.
#pragma once

#include "host/system/failure.h"

namespace chassis {

/// Checks each thing that the sandbox needs. The sentence says what is missing and what to do about it.
[[nodiscard]] host::Result<> check_prerequisites();

}  // namespace chassis
