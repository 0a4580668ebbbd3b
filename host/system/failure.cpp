#include "host/system/failure.h"

#include <cerrno>
#include <cstring>

namespace host {
namespace {

enum HostCause { words_not_understood = 1 };

class HostCategory : public std::error_category {
 public:
  const char *name() const noexcept override { return "host"; }
  std::string message(int) const override { return "not understood"; }
};

}  // namespace

Failed errno_failure() { return failure(errno_cause(errno)); }

Failed errno_failure(const std::string &what) {
  const int number = errno;
  return failure(errno_cause(number), what + ": " + std::strerror(number));
}

std::error_code not_understood() {
  static const HostCategory category;
  return {words_not_understood, category};
}

int exit_status(const Failure &failure) { return failure.cause == not_understood() ? 2 : 1; }

}  // namespace host
