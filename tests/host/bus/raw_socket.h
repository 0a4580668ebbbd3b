// Raw datagrams, for tests of what a Socket sends and how it handles arbitrary bytes.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <span>
#include <vector>

#include "host/bus/socket.h"
#include "host/system/descriptor.h"

namespace opal::bus {

inline sockaddr_un raw_address(const std::filesystem::path &name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, name.c_str(), sizeof address.sun_path - 1);
  return address;
}

inline host::Descriptor raw_socket() {
  host::Descriptor raw(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int bytes = 1 << 20;
  setsockopt(raw.get(), SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
  return raw;
}

inline host::Descriptor raw_bound(const std::filesystem::path &name) {
  host::Descriptor raw = raw_socket();
  const sockaddr_un address = raw_address(name);
  if (::bind(raw.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
    return host::Descriptor();
  return raw;
}

inline bool raw_send(const host::Descriptor &raw, const std::filesystem::path &name,
                     std::span<const std::byte> bytes) {
  const sockaddr_un address = raw_address(name);
  return sendto(raw.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address),
                sizeof address) == static_cast<ssize_t>(bytes.size());
}

inline std::vector<std::uint8_t> raw_receive(const host::Descriptor &raw) {
  std::vector<std::uint8_t> bytes(1 << 20);
  const ssize_t size = recv(raw.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

}  // namespace opal::bus
