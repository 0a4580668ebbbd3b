// Names of interfaces.
#pragma once

#include <array>
#include <string>

#include "opal/if_index.h"

namespace host {

/// Name of an interface as people write it: "ethernet 1/3".
inline std::string if_index_name(if_index_t if_index) {
  std::array<char, 64> buffer{};
  return snprintf_if_index(buffer.data(), buffer.size(), if_index);
}

}  // namespace host
