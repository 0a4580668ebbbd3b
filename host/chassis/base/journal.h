// The chassis's own log: what happened to the daemon and what its services refused, one line each with
// the time of day, in the run-time folder's chassis.log.
#pragma once

#include <filesystem>
#include <string_view>

#include "host/system/descriptor.h"

namespace chassis {

class Journal {
 public:
  /// Appends to `file`; where that cannot be opened, lines go to standard error.
  explicit Journal(const std::filesystem::path &file);

  /// Writes one line; line ends and control characters in `text` become blanks.
  void line(std::string_view text);

 private:
  host::Descriptor file_;
};

}  // namespace chassis
