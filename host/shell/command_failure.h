// Why a command failed. A failure ends the command, never the shell.
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

/// Exit statuses of the program, as host::exit_status returns them.
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
  // Implicit: any failure can end a command as it is.
  CommandFailure(host::Failure failure, std::vector<Range> refused = {})
      : host::Failure(std::move(failure)), rejected(std::move(refused)) {}

  /// The rejected part of the command's list, when the program that served the command reported it.
  std::vector<Range> rejected;
};

template <typename Value>
using CommandResult = tl::expected<Value, CommandFailure>;

}  // namespace shell
