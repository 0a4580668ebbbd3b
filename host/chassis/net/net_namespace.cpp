#include "host/chassis/net/net_namespace.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fmt/ranges.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <future>

#include "host/chassis/net/net_link.h"

namespace chassis {
namespace {

const std::filesystem::path namespace_folder = "/run/netns";

host::Descriptor open_read_only(const std::filesystem::path &file, int flags = 0) {
  return host::Descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | flags, 0444));
}

host::Failed failed_call(const std::string &name, const char *what) {
  return host::errno_failure(fmt::format("network namespace {}: {} failed", name, what));
}

/// The bind mount in the folder keeps the new namespace alive after the thread has ended.
host::Result<> make_named(const std::string &name) {
  std::error_code ignored;  // without the folder, making the file fails too
  std::filesystem::create_directories(namespace_folder, ignored);
  const std::filesystem::path file = namespace_folder / name;
  if (!open_read_only(file, O_CREAT | O_EXCL)) return failed_call(name, "making its file");
  const auto make = [&]() -> host::Result<> {
    if (unshare(CLONE_NEWNET) != 0) return failed_call(name, "making it");
    if (mount("/proc/thread-self/ns/net", file.c_str(), nullptr, MS_BIND, nullptr) != 0)
      return failed_call(name, "naming it");
    return {};
  };
  return std::async(std::launch::async, make).get();
}

}  // namespace

host::Result<NetNamespace> NetNamespace::make(const std::string &name) {
  if (host::Result<> made = make_named(name); !made) return failed(std::move(made));
  NetNamespace result(open_read_only(namespace_folder / name));
  if (!result.namespace_) return failed_call(name, "opening it");
  host::Result<> prepared = result.run([] {
    disable_ipv6();
    return set_link_up("lo", true);
  });
  if (!prepared) return failed(std::move(prepared));
  return result;
}

host::Result<> NetNamespace::run(const std::function<host::Result<>()> &work) const {
  const auto enter_and_work = [&]() -> host::Result<> {
    if (setns(namespace_.get(), CLONE_NEWNET) != 0) return failed_call("of a node", "entering it");
    return work();
  };
  return std::async(std::launch::async, enter_and_work).get();
}

std::vector<std::string> net_namespace_names() {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator(namespace_folder, error))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

host::Result<> enter_net_namespace(const std::string &name) {
  const auto names = net_namespace_names();
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    return host::failure(
        fmt::format("there is no node '{}'; there are {}, and switch", name, fmt::join(names, ", ")));
  }
  const auto file = open_read_only(namespace_folder / name);
  if (!file || setns(file.get(), CLONE_NEWNET) != 0)
    return host::errno_failure(fmt::format("node {} cannot be entered", name));
  return {};
}

}  // namespace chassis
