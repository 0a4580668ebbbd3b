#include "host/chassis/sandbox/lifeline.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

namespace chassis {
namespace {

constexpr const char *variable = "CHASSIS_LIFELINE";

}  // namespace

host::Result<Lifeline> Lifeline::make() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return host::errno_failure("a pipe cannot be made");
  return Lifeline(host::Descriptor(ends[0]), host::Descriptor(ends[1]));
}

void Lifeline::pass_on() const {
  fcntl(inner_.get(), F_SETFD, 0);
  setenv(variable, std::to_string(inner_.get()).c_str(), 1);
}

void Lifeline::signal_complete() { (void)!write(outer_.get(), "+", 1); }

host::Result<host::Descriptor> take_lifeline() {
  const char *number = std::getenv(variable);
  const int descriptor = number != nullptr ? std::atoi(number) : -1;
  char byte = 0;
  if (descriptor < 0 || read(descriptor, &byte, 1) != 1)
    return host::failure("only `chassis run` may start this command");
  unsetenv(variable);
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return host::Descriptor(descriptor);
}

}  // namespace chassis
