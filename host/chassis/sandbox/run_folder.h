// Where a running chassis keeps its files: BASE/NAME/, where BASE is the environment's CHASSIS_RUN_DIR, else
// XDG_RUNTIME_DIR/chassis-UID, else /dev/shm/chassis-UID, else /tmp/chassis-UID.
//
// The folder belongs to one `chassis run` at a time, which holds a lock on it while it lasts; a folder
// without a lock was left by one that was killed, and is cleared by the next. BASE is for this user only.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

class RunFolder {
 public:
  /// Takes the folder of a chassis, empty. Refused while a chassis of the name runs.
  static host::Result<RunFolder> make(const std::string &name);
  RunFolder(RunFolder &&) noexcept = default;
  RunFolder &operator=(RunFolder &&) = delete;
  /// Removes the folder, and what was made on the way to it.
  ~RunFolder();

  const std::filesystem::path &path() const { return path_; }

 private:
  RunFolder(std::filesystem::path path, bool made_base, host::Descriptor lock)
      : path_(std::move(path)), made_base_(made_base), lock_(std::move(lock)) {}

  std::filesystem::path path_;
  bool made_base_;
  host::Descriptor lock_;  ///< none once the folder was moved from here
};

/// Names of the chassis that run, in order.
std::vector<std::string> running_chassis();

/// The chassis that is meant: `name`, or the only one that runs when it is "".
host::Result<std::string> choose_chassis(const std::string &name);

/// Notes a process of the sandbox, which is not complete yet; from outside.
void record_sandbox_process(const std::filesystem::path &run_folder, pid_t process);
/// Lets other programs find it; from inside, when the sandbox may be entered.
void announce_sandbox(const std::filesystem::path &run_folder);

/// A process in the sandbox of a running chassis; nothing while it still starts.
std::optional<pid_t> sandbox_process(const std::string &name);

}  // namespace chassis
