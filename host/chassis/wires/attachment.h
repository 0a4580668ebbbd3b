// A wire to an interface of the machine that was moved into the sandbox: real equipment, a VM's tap, a veth.
//
// A packet socket receives every frame that the interface receives, whatever its destination. The kernel
// removes the 802.1Q tag and passes it beside the frame; the attachment puts it back.
#pragma once

#include <asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/chassis/base/watch.h"
#include "host/chassis/wires/link_partner.h"
#include "host/system/descriptor.h"

namespace chassis {

class Attachment : public LinkPartner {
 public:
  /// Attaches to the interface, which is in this network namespace.
  static host::Result<std::unique_ptr<Attachment>> make(asio::io_context &loop, const std::string &interface,
                                                        FromWire from_wire);

  void deliver(std::span<const std::byte> frame) override;
  /// Switches the interface itself, so that the far end sees its link go down or come up.
  host::Result<> set_link(bool up) override;

 private:
  Attachment(asio::io_context &loop, const std::string &interface, FromWire from_wire,
             host::Descriptor socket);
  ReadResult read_one();

  std::string interface_;
  FromWire from_wire_;
  host::Descriptor socket_;
  std::optional<Watch> watch_;
};

}  // namespace chassis
