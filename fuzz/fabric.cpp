// Frames to the model of the switch ASIC: from any port's wire, and from the CPU with a from-host header.
#include "host/chassis/asic/fabric.h"

#include "fuzz/fuzz.h"

namespace {

constexpr std::size_t usual_frame = 60;

fuzz::Input tagged_frame(std::uint8_t vlan_high, std::uint8_t vlan_low) {
  fuzz::Input frame = {0x02, 0, 0, 0, 0, 1, 0x02, 0, 0, 0, 0, 2, 0x81, 0x00, vlan_high, vlan_low, 0x08, 0x00};
  frame.resize(usual_frame);
  return frame;
}

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  Input from_cpu = {0xfd, 0x3f, 0x00, 0x00, 0x42, 0, 0, 0, 0, 0};
  const Input sol = tagged_frame(0x0f, 0xff);
  from_cpu.insert(from_cpu.end(), sol.begin(), sol.end());
  return {chosen(3, sol), chosen(3, tagged_frame(0, 100)), chosen(0xff, from_cpu)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0) return 0;
  std::size_t left = 0;
  chassis::Fabric fabric(
      [&](chassis::AsicPort port, auto frame) {
        fuzz::must(port.value < chassis::asic_ports, "a frame leaves on a port");
        fuzz::must(frame.size() <= chassis::wire_frame_max,
                   "a frame on the wire is no longer than it may be");
        ++left;
      },
      [&](auto frame) {
        fuzz::must(frame.size() > chassis::asic_header_bytes, "a frame to the CPU has its header");
        ++left;
      });
  for (std::uint8_t number = 0; number < chassis::asic_ports; ++number) {
    chassis::PortState &port = fabric.port({number});
    port.present = number != 7;
    port.link_up = number != 8;
    port.allowed.set(100).set(4095);
    if (number != 9) port.forwarding.set(100);
  }
  fabric.classify(chassis::VlanId{100}, true);

  const std::uint8_t door = data[0];
  if (door < chassis::asic_ports) {
    fuzz::Input buffer(chassis::asic_header_bytes);
    buffer.insert(buffer.end(), data + 1, data + size);
    fabric.from_wire({door}, std::as_writable_bytes(std::span(buffer)));
    fuzz::must(left <= 1, "a frame from the wire goes to the CPU, or nowhere");
  } else {
    fabric.from_cpu(fuzz::bytes(data + 1, size - 1));
    fuzz::must(left <= chassis::asic_ports, "a frame from the CPU leaves once on each port");
  }
  return 0;
}
