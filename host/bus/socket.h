// A bound datagram socket of the message bus.
//
// Every queue is one Unix datagram socket, named by its address, in the run-time folder's `bus/`
// ("0.721", "fe000000.167"). The kernel keeps message boundaries, identifies the sender, and makes the
// descriptor readable, level-triggered, while a message waits; there is no queue in user space.
//
// The kernel's net.unix.max_dgram_qlen limits how many messages may wait, in the network namespace in
// which the receiver was bound; the chassis sets it to 1024. The send buffer of a sender's socket also
// limits its unreceived messages, so a Socket whose buffer is full continues with up to seven helpers.
//
// A failure has a cause and no sentence: most are ordinary, and the sender knows the receiver.
//
// A Socket belongs to one thread. Any process that may enter the bus folder (mode 0700) may put any source
// address in a header. For every datagram, the sender's credentials from the kernel must name the same user.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "host/bus/message.h"
#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace opal::bus {

/// The run-time folder: the environment's OPAL_RUN_DIR, else "/run/opal".
std::filesystem::path run_folder();

/// Messages, datagrams that never became messages, and messages that never left.
struct SocketCounters {
  std::uint64_t received = 0;
  std::uint64_t malformed = 0;  ///< short, oversized, wrong magic, version or length
  std::uint64_t foreign = 0;    ///< from another user
  std::uint64_t sent = 0;
  std::uint64_t refused_full = 0;    ///< the peer had no room
  std::uint64_t refused_absent = 0;  ///< no such peer
};

class Socket {
 public:
  /// Binds `address` in `folder`/bus. Takes over a name that a dead owner left. EADDRINUSE: the owner of
  /// the name is alive. ENOENT: `folder` does not exist. ENAMETOOLONG: `folder` is
  /// longer than a socket's name can be (about 85 characters).
  static host::Result<Socket> bind(const std::filesystem::path &folder, Address address);

  /// Binds an unused address, for programs that only ask (SAPs from 0x10000 up).
  static host::Result<Socket> bind_ephemeral(const std::filesystem::path &folder);

  Socket(Socket &&) noexcept;
  Socket &operator=(Socket &&) noexcept;
  /// Removes the bound name.
  ~Socket();

  int fd() const { return descriptor_.get(); }
  Address address() const { return address_; }
  const SocketCounters &counters() const { return counters_; }

  /// Sends one message; never waits. ECONNREFUSED: no such peer. ENOBUFS: the peer's queue is full.
  /// EMSGSIZE: the payload is over payload_limit.
  host::Result<> send(Address destination, Kind kind, std::uint32_t opcode, std::uint32_t token,
                      std::span<const std::byte> payload);

  /// Takes the next well-formed message; never waits. Counts and drops malformed datagrams before it, a
  /// limited number in one call. EAGAIN: there was no message.
  host::Result<Message> receive();

  /// From now on `ask` busy-polls this long for an answer before it sleeps: to sleep and be woken takes
  /// longer than most services take to answer.
  void busy_poll_for(std::chrono::microseconds busy_poll_time) { busy_poll_time_ = busy_poll_time; }

  /// Sends a request and waits for its response, at most `timeout_ms`. Drops other messages that arrive
  /// in the meantime, so the socket must be one that only asks. ETIMEDOUT: no response came; other
  /// causes as for `send`.
  host::Result<Message> ask(Address destination, std::uint32_t opcode, std::span<const std::byte> payload,
                            int timeout_ms);

 private:
  Socket(host::Descriptor descriptor, Address address, std::filesystem::path folder);
  host::Result<> send_by_any(Address destination, const Header &header, std::span<const std::byte> payload);
  bool add_helper();
  void remove_name();

  host::Descriptor descriptor_;
  std::vector<host::Descriptor> helpers_;  ///< unnamed sockets that send when descriptor_'s buffer is full
  Address address_;
  std::filesystem::path folder_;
  SocketCounters counters_;
  std::uint32_t next_token_ = 1;
  std::chrono::microseconds busy_poll_time_{0};
};

}  // namespace opal::bus
