#include "host/chassis/sandbox/run_folder.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fmt/ranges.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>

namespace chassis {
namespace {

namespace fs = std::filesystem;

constexpr const char *process_file = "sandbox.pid";
constexpr const char *unannounced_file = "sandbox.pid.new";
constexpr const char *lock_file = "lock";

/// Prefers memory to disk: every stored record is synced, and the trace history is written for each frame.
fs::path base_folder() {
  if (const char *own = std::getenv("CHASSIS_RUN_DIR"); own != nullptr && *own != '\0') return own;
  const std::string name = fmt::format("chassis-{}", getuid());
  for (const char *folder : {static_cast<const char *>(std::getenv("XDG_RUNTIME_DIR")), "/dev/shm"}) {
    if (folder != nullptr && *folder != '\0' && access(folder, W_OK) == 0) return fs::path(folder) / name;
  }
  return fs::path("/tmp") / name;
}

/// Makes the base folder. If it exists, checks that no other user may write to it.
/// @return whether it is new
host::Result<bool> make_base(const fs::path &base) {
  std::error_code ignored;
  fs::create_directories(base.parent_path(), ignored);
  if (mkdir(base.c_str(), 0700) == 0) return true;
  if (errno != EEXIST) return host::errno_failure(fmt::format("the folder {} cannot be made", base.string()));
  struct stat found {};
  const bool own = lstat(base.c_str(), &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == getuid() &&
                   (found.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  if (!own) {
    return host::failure(fmt::format(
        "{} is not a folder that only this user may write to; remove it, or set CHASSIS_RUN_DIR to "
        "another folder",
        base.string()));
  }
  return false;
}

host::Descriptor open_lock(const fs::path &folder, int flags) {
  return host::Descriptor(open((folder / lock_file).c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0600));
}

/// Whether the descriptor is still this folder's lock file: the last owner may have removed the file
/// meanwhile.
bool is_current(const host::Descriptor &lock, const fs::path &folder) {
  struct stat held {
  }, named{};
  return fstat(lock.get(), &held) == 0 && lstat((folder / lock_file).c_str(), &named) == 0 &&
         held.st_ino == named.st_ino && held.st_dev == named.st_dev;
}

struct flock whole_file(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

host::Result<host::Descriptor> lock_folder(const fs::path &folder, const std::string &name) {
  for (;;) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
      return host::errno_failure(fmt::format("the folder {} cannot be made", folder.string()));
    auto lock = open_lock(folder, O_RDWR | O_CREAT);
    if (!lock && errno == ENOENT) continue;
    if (!lock) return host::errno_failure(fmt::format("{} cannot be written to", folder.string()));
    auto wanted = whole_file(F_WRLCK);
    if (fcntl(lock.get(), F_OFD_SETLK, &wanted) != 0) {
      return host::failure(
          fmt::format("a chassis named '{}' is already running; end it, or choose another --name", name));
    }
    if (is_current(lock, folder)) return lock;
  }
}

/// Tests the lock without taking it, so that a chassis that starts meanwhile does not find it taken.
bool is_locked(const fs::path &folder) {
  const auto lock = open_lock(folder, O_RDWR);
  auto found = whole_file(F_WRLCK);
  return lock && fcntl(lock.get(), F_OFD_GETLK, &found) == 0 && found.l_type != F_UNLCK;
}

}  // namespace

host::Result<RunFolder> RunFolder::make(const std::string &name) {
  const fs::path path = base_folder() / name;
  host::Result<bool> made_base = make_base(path.parent_path());
  if (!made_base) return failed(std::move(made_base));
  host::Result<host::Descriptor> lock = lock_folder(path, name);
  if (!lock) return failed(std::move(lock));
  // A folder's iterator throws when it advances.
  try {
    for (const auto &left_behind : fs::directory_iterator(path))
      if (left_behind.path().filename() != lock_file) fs::remove_all(left_behind);
  } catch (const fs::filesystem_error &error) {
    return host::failure(error.code(), error.what());
  }
  return RunFolder(path, *made_base, std::move(*lock));
}

RunFolder::~RunFolder() {
  if (!lock_) return;
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  if (made_base_) fs::remove(path_.parent_path(), ignored);  // fails unless it is empty
}

std::vector<std::string> running_chassis() {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto &entry : fs::directory_iterator(base_folder(), error))
    if (entry.is_directory(error) && is_locked(entry.path())) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

host::Result<std::string> choose_chassis(const std::string &name) {
  const auto running = running_chassis();
  if (running.empty()) return host::failure("no chassis is running; start one with: chassis run");
  if (name.empty() && running.size() > 1) {
    return host::failure(
        fmt::format("several chassis are running; choose one with --name: {}", fmt::join(running, ", ")));
  }
  if (!name.empty() && std::find(running.begin(), running.end(), name) == running.end()) {
    return host::failure(
        fmt::format("no chassis named '{}' is running; running are: {}", name, fmt::join(running, ", ")));
  }
  return name.empty() ? running.front() : name;
}

void record_sandbox_process(const fs::path &run_folder, pid_t process) {
  std::ofstream(run_folder / unannounced_file) << process << '\n';
}

void announce_sandbox(const fs::path &run_folder) {
  fs::rename(run_folder / unannounced_file, run_folder / process_file);
}

std::optional<pid_t> sandbox_process(const std::string &name) {
  pid_t process = 0;
  std::ifstream(base_folder() / name / process_file) >> process;
  return process > 0 ? std::optional(process) : std::nullopt;
}

}  // namespace chassis
