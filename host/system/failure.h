// How every function of the host says that it failed: it returns a value or a Failure.
//
// The sentence is for people and complete in itself: what failed, where, and what to do. The cause is for
// programs that choose by it. Where failing is ordinary, as with a full queue of the message bus, there is a
// cause alone, so that failing allocates nothing; who calls knows the circumstances and says them.
//
// Exceptions are left to constructors and libraries that have no other way; they are caught where they leave the
// library, and turned into a Failure. A program's `main` prints the sentence on standard error behind the
// program's name and ends with `exit_status`.
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

/// `Result<>` is the result of what yields nothing.
template <typename Value = void>
using Result = tl::expected<Value, Failure>;

/// What a function of any Result returns to fail.
using Failed = tl::unexpected<Failure>;

inline Failed failure(std::string what) { return Failed(Failure(std::move(what))); }
inline Failed failure(std::error_code cause, std::string what = {}) {
  return Failed(Failure(std::move(what), cause));
}

/// The cause that an errno stands for.
inline std::error_code errno_cause(int number) { return {number, std::generic_category()}; }

/// A system call failed: `errno` is the cause. Allocates nothing.
Failed errno_failure();

/// A system call failed: the cause is `errno`, whose text ends the sentence, as in "/dev/net/tun cannot be
/// opened: Permission denied".
Failed errno_failure(const std::string &what);

/// Hands the failure of a call on as one's own.
template <typename Value>
Failed failed(Result<Value> &&result) {
  return Failed(std::move(result).error());
}

/// The cause of refusing words that mean nothing or cannot go together: an option, a command, a list.
std::error_code not_understood();

/// Exit status of a program that ends because of a failure: 2 when its words were not understood, else 1.
int exit_status(const Failure &failure);

}  // namespace host
