#include "host/chassis/wires/attachment.h"

#include <fmt/core.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <cerrno>
#include <cstring>

#include "host/chassis/asic/frame_buffer.h"
#include "host/chassis/net/net_link.h"
#include "host/system/failure.h"

namespace chassis {
namespace {

FrameBuffer wire_buffer;

host::Result<> set_option(const host::Descriptor &socket, int option, const void *value, socklen_t length) {
  if (setsockopt(socket.get(), SOL_PACKET, option, value, length) != 0)
    return host::errno_failure(fmt::format("a packet socket's option {} is refused", option));
  return {};
}

host::Result<host::Descriptor> open_packet_socket(const std::string &interface) {
  const unsigned index = if_nametoindex(interface.c_str());
  if (index == 0)
    return host::failure(fmt::format("there is no interface {} to attach a port to", interface));
  host::Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket) return host::errno_failure(fmt::format("no packet socket on {}", interface));
  const int on = 1;
  packet_mreq everything{};
  everything.mr_ifindex = static_cast<int>(index);
  everything.mr_type = PACKET_MR_PROMISC;
  host::Result<> set =
      set_option(socket, PACKET_AUXDATA, &on, sizeof on)
          .and_then([&] { return set_option(socket, PACKET_IGNORE_OUTGOING, &on, sizeof on); })
          .and_then(
              [&] { return set_option(socket, PACKET_ADD_MEMBERSHIP, &everything, sizeof everything); });
  if (!set) return failed(std::move(set));
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(ETH_P_ALL);
  address.sll_ifindex = static_cast<int>(index);
  if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
    return host::errno_failure(fmt::format("interface {} cannot be listened to", interface));
  return socket;
}

/// The tag that the kernel removed; nothing when the frame had none.
std::optional<std::uint16_t> tag_beside(const msghdr &message) {
  for (const cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr;
       header = CMSG_NXTHDR(const_cast<msghdr *>(&message), const_cast<cmsghdr *>(header))) {
    if (header->cmsg_level != SOL_PACKET || header->cmsg_type != PACKET_AUXDATA) continue;
    tpacket_auxdata beside{};
    std::memcpy(&beside, CMSG_DATA(header), sizeof beside);
    const bool is_8021q =
        (beside.tp_status & TP_STATUS_VLAN_TPID_VALID) == 0 || beside.tp_vlan_tpid == ETH_P_8021Q;
    if ((beside.tp_status & TP_STATUS_VLAN_VALID) != 0 && is_8021q) return beside.tp_vlan_tci;
  }
  return std::nullopt;
}

}  // namespace

host::Result<std::unique_ptr<Attachment>> Attachment::make(asio::io_context &loop,
                                                           const std::string &interface, FromWire from_wire) {
  host::Result<host::Descriptor> socket = open_packet_socket(interface);
  if (!socket) return failed(std::move(socket));
  if (host::Result<> up = set_link_up(interface, true); !up) return failed(std::move(up));
  return std::unique_ptr<Attachment>(new Attachment(  // NOLINT: private constructor
      loop, interface, std::move(from_wire), std::move(*socket)));
}

Attachment::Attachment(asio::io_context &loop, const std::string &interface, FromWire from_wire,
                       host::Descriptor socket)
    : interface_(interface), from_wire_(std::move(from_wire)), socket_(std::move(socket)) {
  watch_.emplace(loop, socket_.get(), [this] { return read_one(); });
}

void Attachment::deliver(FrameView frame) { (void)!write(socket_.get(), frame.data(), frame.size()); }

host::Result<> Attachment::set_link(bool up) { return set_link_up(interface_, up); }

ReadResult Attachment::read_one() {
  const auto place = wire_buffer.untagged_place();
  iovec part{place.data(), place.size()};
  alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(tpacket_auxdata))> control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t received = recvmsg(socket_.get(), &message, 0);
  if (received < 0) return errno == ENETDOWN ? ReadResult::nothing : result_of_failed_read(errno);
  auto length = static_cast<std::size_t>(received);
  const auto tag = length >= ethernet_header_bytes ? tag_beside(message) : std::nullopt;
  if (tag) {
    insert_tag(wire_buffer.tagged_place(), *tag);
    length += tag_bytes;
  } else {
    std::memmove(wire_buffer.tagged_place().data(), place.data(), length);
  }
  from_wire_(wire_buffer.finish(length));
  return ReadResult::taken;
}

}  // namespace chassis
