#include "host/chassis/sandbox/lifeline.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/system/failure.h"

namespace chassis {
namespace {

constexpr const char *variable = "CHASSIS_LIFELINE";

}  // namespace

Lifeline::Lifeline() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    throw host::Failure(fmt::format("no pipe can be made: {}", std::strerror(errno)));
  inner_ = host::Descriptor(ends[0]);
  outer_ = host::Descriptor(ends[1]);
}

void Lifeline::pass_on() const {
  fcntl(inner_.get(), F_SETFD, 0);
  setenv(variable, std::to_string(inner_.get()).c_str(), 1);
}

void Lifeline::signal_complete() { (void)!write(outer_.get(), "+", 1); }

host::Descriptor take_lifeline() {
  const char *number = std::getenv(variable);
  const int descriptor = number != nullptr ? std::atoi(number) : -1;
  char byte = 0;
  if (descriptor < 0 || read(descriptor, &byte, 1) != 1)
    throw host::Failure("this command belongs to `chassis run`");
  unsetenv(variable);
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return host::Descriptor(descriptor);
}

}  // namespace chassis
