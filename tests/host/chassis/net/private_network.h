// A network of the test's own, for tests that make devices: they are root in it, and nothing of it outlives
// the test program. /run is private, too, because the names of network namespaces stand there.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/ethtool.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>
#include <array>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis::test {

inline void must(bool works, const char *what) {
  if (!works) throw std::system_error(errno, std::generic_category(), what);
}

inline void must(const host::Result<> &result) {
  if (!result) throw std::runtime_error(result.error().what);
}

class PrivateNetwork : public testing::Test {
 protected:
  PrivateNetwork() {
    // Only a process of one thread may do this, which ours is before its first device.
    [[maybe_unused]] static const bool is_root = become_root();
    must(unshare(CLONE_NEWNET | CLONE_NEWNS) == 0, "unshare");
    must(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    must(mount("none", "/run", "tmpfs", 0, nullptr) == 0, "private /run");
  }

 private:
  static bool become_root() {
    const auto user = std::to_string(geteuid()), group = std::to_string(getegid());
    must(unshare(CLONE_NEWUSER) == 0, "unshare");
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
    std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
    return true;
  }
};

/// What the kernel answers to a question about an interface of the calling thread's network.
inline ifreq ask_link(const std::string &name, unsigned long question, void *data = nullptr) {
  const host::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  name.copy(request.ifr_name, sizeof request.ifr_name - 1);
  if (data != nullptr) request.ifr_data = static_cast<char *>(data);
  must(ioctl(socket.get(), question, &request) == 0, name.c_str());
  return request;
}

inline bool is_up(const std::string &name) { return (ask_link(name, SIOCGIFFLAGS).ifr_flags & IFF_UP) != 0; }

inline bool has_carrier(const std::string &name) {
  ethtool_value value{ETHTOOL_GLINK, 0};
  ask_link(name, SIOCETHTOOL, &value);
  return value.data != 0;
}

inline std::vector<int> mac_of(const std::string &name) {
  const ifreq answer = ask_link(name, SIOCGIFHWADDR);
  std::vector<int> mac;
  for (int place = 0; place < ETH_ALEN; ++place)
    mac.push_back(static_cast<std::uint8_t>(answer.ifr_hwaddr.sa_data[place]));
  return mac;
}

/// @param question SIOCGIFADDR or SIOCGIFNETMASK
inline std::string address_of(const std::string &name, unsigned long question) {
  const ifreq answer = ask_link(name, question);
  sockaddr_in internet{};
  std::memcpy(&internet, &answer.ifr_addr, sizeof internet);
  return inet_ntoa(internet.sin_addr);
}

using Bytes = std::vector<std::byte>;

/// What a descriptor yields next; empty when nothing comes within `limit_ms`.
inline Bytes next_from(int descriptor, int limit_ms = 5000) {
  pollfd waiting{descriptor, POLLIN, 0};
  Bytes bytes(4096);
  if (poll(&waiting, 1, limit_ms) != 1) return {};
  const ssize_t length = read(descriptor, bytes.data(), bytes.size());
  bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return bytes;
}

/// @return the VLAN of the tag that the kernel took off the next frame, -1 without a tag. Does not receive the frame.
inline int tag_beside_next(int descriptor, int limit_ms = 5000) {
  pollfd waiting{descriptor, POLLIN, 0};
  must(poll(&waiting, 1, limit_ms) == 1, "poll");
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(tpacket_auxdata))> control{};
  msghdr message{};
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  must(recvmsg(descriptor, &message, MSG_PEEK) >= 0, "recvmsg");
  const cmsghdr *header = CMSG_FIRSTHDR(&message);
  must(header != nullptr && header->cmsg_type == PACKET_AUXDATA, "PACKET_AUXDATA");
  tpacket_auxdata auxiliary{};
  std::memcpy(&auxiliary, CMSG_DATA(header), sizeof auxiliary);
  return (auxiliary.tp_status & TP_STATUS_VLAN_VALID) != 0 ? auxiliary.tp_vlan_tci & 0x0fff : -1;
}

inline void put(int descriptor, const Bytes &bytes) {
  must(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
}

/// A packet socket that gets what an interface receives, and sends there.
inline host::Descriptor packet_socket(const std::string &interface, std::uint16_t protocol = ETH_P_ALL) {
  host::Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const int on = 1;
  must(setsockopt(socket.get(), SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on) == 0, "setsockopt");
  must(setsockopt(socket.get(), SOL_PACKET, PACKET_AUXDATA, &on, sizeof on) == 0, "setsockopt");
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(protocol);
  address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
  must(bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0, "bind");
  return socket;
}

}  // namespace chassis::test
