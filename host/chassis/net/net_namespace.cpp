#include "host/chassis/net/net_namespace.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fmt/ranges.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>

#include "host/chassis/net/net_link.h"
#include "host/system/failure.h"

namespace chassis {
namespace {

const std::filesystem::path namespace_folder = "/run/netns";

host::Descriptor open_read_only(const std::filesystem::path &file, int flags = 0) {
  return host::Descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | flags, 0444));
}

[[noreturn]] void fail(const std::string &name, const char *what) {
  throw host::Failure(fmt::format("network namespace {}: {} failed: {}", name, what, std::strerror(errno)));
}

/// The new namespace outlives the thread by its name in the folder.
void make_named(const std::string &name) {
  std::filesystem::create_directories(namespace_folder);
  const std::filesystem::path file = namespace_folder / name;
  if (!open_read_only(file, O_CREAT | O_EXCL)) fail(name, "making its file");
  const auto make = [&] {
    if (unshare(CLONE_NEWNET) != 0) fail(name, "making it");
    if (mount("/proc/thread-self/ns/net", file.c_str(), nullptr, MS_BIND, nullptr) != 0)
      fail(name, "naming it");
  };
  std::async(std::launch::async, make).get();
}

}  // namespace

NetNamespace::NetNamespace(const std::string &name) {
  make_named(name);
  namespace_ = open_read_only(namespace_folder / name);
  if (!namespace_) fail(name, "opening it");
  run([] {
    disable_ipv6();
    set_link_up("lo", true);
  });
}

void NetNamespace::run(const std::function<void()> &work) const {
  const auto enter_and_work = [&] {
    if (setns(namespace_.get(), CLONE_NEWNET) != 0) fail("of a node", "entering it");
    work();
  };
  std::async(std::launch::async, enter_and_work).get();
}

std::vector<std::string> net_namespace_names() {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator(namespace_folder, error))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string enter_net_namespace(const std::string &name) {
  const auto names = net_namespace_names();
  if (std::find(names.begin(), names.end(), name) == names.end())
    return fmt::format("there is no node '{}'; there are {}, and switch", name, fmt::join(names, ", "));
  const auto file = open_read_only(namespace_folder / name);
  if (!file || setns(file.get(), CLONE_NEWNET) != 0)
    return fmt::format("node {} cannot be entered: {}", name, std::strerror(errno));
  return "";
}

}  // namespace chassis
