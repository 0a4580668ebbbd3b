// Sends messages to the daemon, as the shell and the platform's services do, and waits for each answer. All
// functions throw Failure if no answer comes or the answer is a refusal.
#pragma once

#include <cstdint>
#include <filesystem>

#include "host/bus/codec.h"
#include "host/bus/socket.h"

namespace bench {

class Console {
 public:
  explicit Console(const std::filesystem::path &run_folder);

  /// Asks for the list of CIN VLANs.
  void show_vlans();

  /// Configures a VLAN as CIN VLAN (chassis internal network), or removes it.
  void configure_vlan(std::uint16_t vlan, bool cin);

  /// Saves the running configuration as the startup configuration.
  void save();

  /// Sends a notice that VLANs 1 to 4094 are now up on front port 1, or down.
  void notify_port(bool vlans_up);

  /// Waits until everything sent before has been handled.
  void barrier();

 private:
  opal::bus::Payload ask(std::uint32_t opcode, const opal::bus::Payload &payload);
  void command(std::uint32_t id, bool is_del, const opal::bus::Payload &vlans);

  opal::bus::Socket socket_;
};

}  // namespace bench
