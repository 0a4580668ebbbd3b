// The shell's peers on the bus, scripted. A thread owns the queues of the registry, the daemon, the
// configuration service and the supervisor in its own run-time folder. It answers each opcode as the
// test says, and keeps the requests.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "host/bus/codec.h"
#include "host/bus/socket.h"
#include "host/system/descriptor.h"

namespace shell_test {

class ScriptedPeers {
 public:
  using Answer = std::function<opal::bus::Payload(const opal::bus::Message &)>;

  ScriptedPeers();
  ~ScriptedPeers();
  ScriptedPeers(const ScriptedPeers &) = delete;
  ScriptedPeers &operator=(const ScriptedPeers &) = delete;

  const std::filesystem::path &run_folder() const { return folder_; }

  /// Sets the answer to an opcode; requests with an opcode without an answer stay unanswered.
  void answer(std::uint32_t opcode, opal::bus::Payload payload);
  /// Sets the registry's answer: these names, each served by the daemon's queue.
  void register_trees(const std::vector<std::string> &names);
  /// Unbinds a queue, as when its program has died.
  void remove(opal::bus::Address address);

  /// Payloads that came with an opcode, in order.
  std::vector<opal::bus::Payload> asked(std::uint32_t opcode) const;

 private:
  void serve();
  void take(opal::bus::Socket &socket);

  std::filesystem::path folder_;
  mutable std::mutex mutex_;
  std::vector<opal::bus::Socket> sockets_;
  std::map<std::uint32_t, opal::bus::Payload> answers_;
  std::multimap<std::uint32_t, opal::bus::Payload> asked_;
  host::Descriptor stop_;
  std::thread thread_;
};

}  // namespace shell_test
