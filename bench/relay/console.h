// Messages to the daemon, as the shell and the platform's services send them, each with its answer awaited.
// All throw Failure when no answer comes, or one that refuses.
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

  /// Configures a VLAN as CIN, or ends that.
  void configure_vlan(std::uint16_t vlan, bool cin);

  /// Saves the running configuration as the startup configuration.
  void save();

  /// Tells that VLANs 1 to 4094 are now up on front port 1, or down.
  void notify_port(bool vlans_up);

  /// Returns when everything sent before has been handled.
  void barrier();

 private:
  opal::bus::Payload ask(std::uint32_t opcode, const opal::bus::Payload &payload);
  void command(std::uint32_t id, bool is_del, const opal::bus::Payload &vlans);

  opal::bus::Socket socket_;
};

}  // namespace bench
