// Why a command was not carried out. It ends the command and never the shell.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "host/system/failure.h"

namespace shell {

/// Inclusive.
struct Range {
  std::uint32_t lower = 0;
  std::uint32_t upper = 0;
  friend bool operator==(const Range &, const Range &) = default;
};

/// Exit statuses of the program, as host::exit_status has them.
enum Status : int {
  status_ok = 0,
  status_failed = 1,  ///< the command was understood and did not succeed
  status_syntax = 2   ///< the command line or the command was not understood
};

inline Status status_of(const host::Failure &failure) {
  return static_cast<Status>(host::exit_status(failure));
}

/// The command line or the command was not understood.
inline host::Failed syntax_failure(std::string what) {
  return host::failure(host::not_understood(), std::move(what));
}

struct CommandFailure : host::Failure {
  // Any failure ends a command as it is.
  CommandFailure(host::Failure failure, std::vector<Range> refused = {})
      : host::Failure(std::move(failure)), rejected(std::move(refused)) {}

  /// The part of the command's list that was refused, when the program that served it told.
  std::vector<Range> rejected;
};

template <typename Value>
using CommandResult = tl::expected<Value, CommandFailure>;

}  // namespace shell
