// A measured program as a child of the benchmark. It stays on one processor, its output goes to a file, and
// it is killed with this object.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/system/descriptor.h"

namespace bench {

class Child {
 public:
  /// Starts the program; it is searched for as a shell would. Its standard input stays open and empty.
  /// @param processor -1 for any
  /// @param words the file for its output
  /// Throws Failure if the program is not installed.
  Child(const std::vector<std::string> &command, int processor, std::filesystem::path words);
  ~Child();
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }
  bool has_ended() const;
  /// The last line of its output.
  std::string last_words() const;

 private:
  pid_t pid_ = -1;
  std::filesystem::path words_;
  host::Descriptor input_;
};

/// Runs a program until it ends. Throws Failure with the last line of its output unless it succeeds.
void run_program(const std::vector<std::string> &command);

}  // namespace bench
