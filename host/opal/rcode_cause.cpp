#include "host/opal/rcode_cause.h"

namespace opal {
namespace {

class RcodeCategory : public std::error_category {
 public:
  const char *name() const noexcept override { return "platform"; }
  std::string message(int number) const override { return rcode2str(static_cast<rcode_t>(number)); }
};

}  // namespace

host::Failed refused(rcode_t rcode) {
  static const RcodeCategory category;
  return host::failure(std::error_code(static_cast<int>(rcode), category));
}

}  // namespace opal
