// Why a figure cannot be measured, as one sentence. A measurement is a script of steps. The first step that
// fails ends the run from any depth, so the steps throw.
#pragma once

#include <stdexcept>

#include "host/system/failure.h"

namespace bench {

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// @return the value. Throws Failure with the sentence, or with the text of the cause if there is none.
template <typename Value>
Value must(host::Result<Value> result) {
  if (!result)
    throw Failure(result.error().what.empty() ? result.error().cause.message() : result.error().what);
  return std::move(*result);
}
inline void must(const host::Result<> &result) {
  if (!result) throw Failure(result.error().what);
}

}  // namespace bench
