// What a program of the host throws when it cannot go on: one sentence that says what failed, where, and what
// to do. The program prints it on standard error behind its name and ends with status 1.
#pragma once

#include <stdexcept>

namespace host {

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace host
