// A program that is measured, as a child of the benchmark: kept on one processor, its words in a file, killed
// with this object.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/system/descriptor.h"

namespace bench {

class Child {
 public:
  /// Starts the program of that name, searched for as a shell would. Its standard input stays open and empty.
  /// @param processor -1 for any
  /// Throws Failure when it is not installed.
  Child(const std::vector<std::string> &command, int processor, std::filesystem::path words);
  ~Child();
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }
  bool has_ended() const;
  /// The last line that it said.
  std::string last_words() const;

 private:
  pid_t pid_ = -1;
  std::filesystem::path words_;
  host::Descriptor input_;
};

/// Runs a program to its end. Throws Failure with its last words unless it succeeds.
void run_program(const std::vector<std::string> &command);

}  // namespace bench
