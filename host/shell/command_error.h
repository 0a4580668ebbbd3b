// Why a command was not carried out, as one exception that ends the command and never the shell.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace shell {

/// Inclusive.
struct Range {
  std::uint32_t lower = 0;
  std::uint32_t upper = 0;
  friend bool operator==(const Range &, const Range &) = default;
};

/// Exit statuses of the program.
enum Status : int {
  status_ok = 0,
  status_failed = 1,  ///< the command was understood and did not succeed
  status_syntax = 2   ///< the command line or the command was not understood
};

class CommandError : public std::runtime_error {
 public:
  CommandError(Status status, const std::string &what, std::vector<Range> rejected = {})
      : std::runtime_error(what), status_(status), rejected_(std::move(rejected)) {}
  Status status() const { return status_; }
  /// The part of the command's list that was refused, when the program that served it told.
  const std::vector<Range> &rejected() const { return rejected_; }

 private:
  Status status_;
  std::vector<Range> rejected_;
};

}  // namespace shell
