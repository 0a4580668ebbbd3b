// The link partner of a port, at the far end of its wire: a blade (node.h) or an interface of the machine
// (attachment.h). Frames on a wire are tagged, as the fabric receives and sends them.
#pragma once

#include <cstddef>
#include <functional>
#include <span>

#include "host/system/failure.h"

namespace chassis {

/// Receives a frame that the far end sent. The buffer holds asic_header_bytes free bytes, then the frame,
/// padded to the wire's minimum. It is valid during the call.
using FromWire = std::function<void(std::span<std::byte> buffer)>;

class LinkPartner {
 public:
  LinkPartner() = default;
  LinkPartner(const LinkPartner &) = delete;
  LinkPartner &operator=(const LinkPartner &) = delete;
  virtual ~LinkPartner() = default;

  /// Sends a tagged frame to the far end.
  virtual void deliver(std::span<const std::byte> frame) = 0;
  /// Switches the link at the far end up or down.
  [[nodiscard]] virtual host::Result<> set_link(bool up) = 0;
};

}  // namespace chassis
