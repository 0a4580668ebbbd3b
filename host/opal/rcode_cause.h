// Turns result codes into causes of failures inside the platform library, and back at its C interface.
#pragma once

#include "host/system/failure.h"
#include "opal/rcode.h"

namespace opal {

/// A failure whose cause is this result code, which is not 0.
host::Failed refused(rcode_t rcode);

/// The result as the C interface returns it. @return RCODE_SUCCESS, or the result code passed to `refused`
template <typename Value>
rcode_t rcode_of(const host::Result<Value> &result) {
  return result ? rcode_t{RCODE_SUCCESS} : static_cast<rcode_t>(result.error().cause.value());
}

}  // namespace opal
