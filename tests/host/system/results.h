// What tests check in a result.
#pragma once

#include "host/system/failure.h"

namespace host::test {

/// @return "" for a result that is no failure
template <typename Value, typename Error>
std::string sentence_of(const tl::expected<Value, Error> &result) {
  return result ? std::string() : result.error().what;
}

/// @return the cause's number, 0 for a result that is no failure
template <typename Value>
int cause_of(const Result<Value> &result) {
  return result ? 0 : result.error().cause.value();
}

}  // namespace host::test
