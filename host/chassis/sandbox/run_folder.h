// Where a running chassis keeps its files: BASE/NAME/. BASE is the value of the environment variable
// CHASSIS_RUN_DIR, else XDG_RUNTIME_DIR/chassis-UID, else /dev/shm/chassis-UID, else /tmp/chassis-UID.
//
// The folder belongs to one `chassis run` at a time, which holds a lock on it while it runs. A folder that is
// not locked was left by a killed chassis; the next chassis of that name clears it. BASE is for this user
// only.
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
  /// Takes the folder of a chassis and clears it. Fails while a chassis of that name is running.
  static host::Result<RunFolder> make(const std::string &name);
  RunFolder(RunFolder &&) noexcept = default;
  RunFolder &operator=(RunFolder &&) = delete;
  /// Removes the folder, and BASE if it was made for it.
  ~RunFolder();

  const std::filesystem::path &path() const { return path_; }

 private:
  RunFolder(std::filesystem::path path, bool made_base, host::Descriptor lock)
      : path_(std::move(path)), made_base_(made_base), lock_(std::move(lock)) {}

  std::filesystem::path path_;
  bool made_base_;
  host::Descriptor lock_;  ///< none in a moved-from object
};

/// Names of the running chassis, in order.
std::vector<std::string> running_chassis();

/// The name of the chassis to use: `name`, or the only running chassis when `name` is "".
host::Result<std::string> choose_chassis(const std::string &name);

/// Called outside: notes a process of the sandbox, which is not complete yet.
void record_sandbox_process(const std::filesystem::path &run_folder, pid_t process);
/// Called inside when the sandbox may be entered: lets other programs find this process.
void announce_sandbox(const std::filesystem::path &run_folder);

/// A process in the sandbox of a running chassis; nothing while the chassis is still starting.
std::optional<pid_t> sandbox_process(const std::string &name);

}  // namespace chassis
