// Result codes as the causes of failures inside the platform library, and back at its C interface.
#pragma once

#include "host/system/failure.h"
#include "opal/rcode.h"

namespace opal {

/// A failure for the reason that a result code tells, which is not 0.
host::Failed refused(rcode_t rcode);

/// What the C interface answers. @return RCODE_SUCCESS, or the result code that `refused` was given
template <typename Value>
rcode_t rcode_of(const host::Result<Value> &result) {
  return result ? rcode_t{RCODE_SUCCESS} : static_cast<rcode_t>(result.error().cause.value());
}

}  // namespace opal
