// How functions of the host report failure: each returns a value or a Failure.
//
// The sentence is for people and complete in itself: what failed, where, and what to do. The cause is for
// programs that branch on it. Where failure is ordinary, as with a full queue of the message bus, there is
// only a cause, so that failing allocates nothing; the caller knows the circumstances and reports them.
//
// Only constructors and libraries without another way to fail throw. Their exceptions are caught where they
// leave the library and turned into a Failure. A program's `main` prints the program's name and the sentence
// on standard error and ends with `exit_status`.
#pragma once

#include <string>
#include <system_error>
#include <tl/expected.hpp>

namespace host {

struct Failure {
  Failure() = default;
  explicit Failure(std::string sentence, std::error_code reason = {})
      : what(std::move(sentence)), cause(reason) {}

  std::string what;
  std::error_code cause;
};

/// `Result<>` is the result of a function that returns no value.
template <typename Value = void>
using Result = tl::expected<Value, Failure>;

/// A failure as a function returns it, whatever its Result.
using Failed = tl::unexpected<Failure>;

inline Failed failure(std::string what) { return Failed(Failure(std::move(what))); }
inline Failed failure(std::error_code cause, std::string what = {}) {
  return Failed(Failure(std::move(what), cause));
}

/// The cause for an errno value.
inline std::error_code errno_cause(int number) { return {number, std::generic_category()}; }

/// A system call failed: `errno` is the cause. Allocates nothing.
Failed errno_failure();

/// A system call failed: the cause is `errno`, whose text ends the sentence, as in "/dev/net/tun cannot be
/// opened: Permission denied".
Failed errno_failure(const std::string &what);

/// Passes on the failure of a call, with another value type.
template <typename Value>
Failed failed(Result<Value> &&result) {
  return Failed(std::move(result).error());
}

/// The cause when words are unknown or do not go together: in an option, a command or a list.
std::error_code not_understood();

/// Exit status of a program that ends because of a failure: 2 when the cause is `not_understood`, else 1.
int exit_status(const Failure &failure);

}  // namespace host
