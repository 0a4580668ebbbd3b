// The chassis's own log: what happened to the daemon, and what its services refused. It has one line for
// each event, with the time of day, and is the file chassis.log in the run folder.
#pragma once

#include <filesystem>
#include <string_view>

#include "host/system/descriptor.h"

namespace chassis {

class Journal {
 public:
  /// Appends to `file`. If the file cannot be opened, lines go to standard error.
  explicit Journal(const std::filesystem::path &file);

  /// Writes one line; line ends and control characters in `text` become blanks.
  void line(std::string_view text);

 private:
  host::Descriptor file_;
};

}  // namespace chassis
