#include "host/bus/socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>

namespace opal::bus {

using host::errno_cause;
using host::errno_failure;
using host::failure;

namespace {

constexpr std::size_t helper_limit = 7;
constexpr int malformed_per_receive = 64;
constexpr std::uint32_t first_ephemeral_sap = 0x10000;
constexpr std::uint32_t ephemeral_saps = 0x10000;
constexpr std::size_t datagram_limit = sizeof(Header) + payload_limit;

std::filesystem::path name_of(const std::filesystem::path &folder, Address address) {
  std::array<char, 24> name{};
  std::snprintf(name.data(), name.size(), "%x.%u", address.node, address.sap);
  return folder / "bus" / name.data();
}

/// @return the socket address of `name`; nothing when it is too long for one
std::optional<sockaddr_un> socket_address(const std::filesystem::path &name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string &text = name.native();
  if (text.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
  return address;
}

/// Requests a buffer that holds the largest message; the kernel reduces it to the size that it allows.
void widen(int fd, int option, int forced_option) {
  const int bytes = 1 << 20;
  if (setsockopt(fd, SOL_SOCKET, forced_option, &bytes, sizeof bytes) != 0)
    setsockopt(fd, SOL_SOCKET, option, &bytes, sizeof bytes);
}

host::Descriptor make_socket() {
  host::Descriptor descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!descriptor) return descriptor;
  widen(descriptor.get(), SO_SNDBUF, SO_SNDBUFFORCE);
  return descriptor;
}

/// A name is stale when its socket is gone: no process listens on it any more.
bool is_stale(const sockaddr_un &address) {
  const host::Descriptor probe = make_socket();
  if (!probe) return false;
  return connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 &&
         errno == ECONNREFUSED;
}

/// A lock, held while a name is bound, so that two processes that take over a stale name do not remove
/// each other's.
host::Result<host::Descriptor> lock_names(const std::filesystem::path &folder) {
  const std::filesystem::path names = folder / "bus";
  if (mkdir(names.c_str(), 0700) != 0 && errno != EEXIST) return errno_failure();
  host::Descriptor lock(open((names / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || flock(lock.get(), LOCK_EX) != 0) return errno_failure();
  return lock;
}

host::Result<> bind_name(int fd, const sockaddr_un &address) {
  const auto *generic = reinterpret_cast<const sockaddr *>(&address);
  if (::bind(fd, generic, sizeof address) == 0) return {};
  if (errno != EADDRINUSE) return errno_failure();
  if (!is_stale(address)) return failure(errno_cause(EADDRINUSE));
  unlink(address.sun_path);
  if (::bind(fd, generic, sizeof address) != 0) return errno_failure();
  return {};
}

std::optional<uid_t> sender_of(msghdr &datagram) {
  for (cmsghdr *control = CMSG_FIRSTHDR(&datagram); control; control = CMSG_NXTHDR(&datagram, control)) {
    if (control->cmsg_level != SOL_SOCKET || control->cmsg_type != SCM_CREDENTIALS) continue;
    ucred credentials;
    std::memcpy(&credentials, CMSG_DATA(control), sizeof credentials);
    return credentials.uid;
  }
  return std::nullopt;
}

bool well_formed(const Header &header, std::size_t payload_bytes) {
  const bool known_kind =
      header.kind == Kind::request || header.kind == Kind::response || header.kind == Kind::notice;
  return header.magic == magic && header.version == version && known_kind && header.length == payload_bytes;
}

enum class Taken { message, malformed, foreign };

struct Datagram {
  Taken taken = Taken::malformed;
  Header header{};
  std::vector<std::byte> payload;
};

/// The failure of a receive; an interrupted receive found no message.
host::Failed nothing_taken() { return failure(errno_cause(errno == EINTR ? EAGAIN : errno)); }

/// Receives one datagram from the socket, well-formed or not.
host::Result<Datagram> take_datagram(int fd) {
  const ssize_t size = recv(fd, nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
  if (size < 0) return nothing_taken();
  Datagram datagram;
  const auto bytes = static_cast<std::size_t>(size);
  if (bytes >= sizeof(Header) && bytes <= datagram_limit) datagram.payload.resize(bytes - sizeof(Header));

  std::array<iovec, 2> parts{iovec{&datagram.header, sizeof(Header)},
                             iovec{datagram.payload.data(), datagram.payload.size()}};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t taken = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (taken < 0) return nothing_taken();
  const bool whole = (message.msg_flags & MSG_TRUNC) == 0 &&
                     static_cast<std::size_t>(taken) == sizeof(Header) + datagram.payload.size();
  if (sender_of(message) != geteuid()) {
    datagram.taken = Taken::foreign;
  } else {
    datagram.taken =
        whole && well_formed(datagram.header, datagram.payload.size()) ? Taken::message : Taken::malformed;
  }
  return datagram;
}

}  // namespace

std::filesystem::path run_folder() {
  const char *folder = std::getenv("OPAL_RUN_DIR");
  return folder != nullptr && *folder != '\0' ? folder : "/run/opal";
}

Socket::Socket(host::Descriptor descriptor, Address address, std::filesystem::path folder)
    : descriptor_(std::move(descriptor)), address_(address), folder_(std::move(folder)) {}

Socket::Socket(Socket &&) noexcept = default;

Socket &Socket::operator=(Socket &&other) noexcept {
  if (this != &other) {
    remove_name();
    descriptor_ = std::move(other.descriptor_);
    helpers_ = std::move(other.helpers_);
    address_ = other.address_;
    folder_ = std::move(other.folder_);
    counters_ = other.counters_;
    next_token_ = other.next_token_;
    busy_poll_time_ = other.busy_poll_time_;
  }
  return *this;
}

Socket::~Socket() { remove_name(); }

void Socket::remove_name() {
  if (descriptor_) unlink(name_of(folder_, address_).c_str());
}

host::Result<Socket> Socket::bind(const std::filesystem::path &folder, Address address) {
  const std::optional<sockaddr_un> name = socket_address(name_of(folder, address));
  if (!name) return failure(errno_cause(ENAMETOOLONG));
  host::Result<host::Descriptor> lock = lock_names(folder);
  if (!lock) return failed(std::move(lock));
  host::Descriptor descriptor = make_socket();
  const int on = 1;
  if (!descriptor || setsockopt(descriptor.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
    return errno_failure();
  widen(descriptor.get(), SO_RCVBUF, SO_RCVBUFFORCE);
  if (host::Result<> bound = bind_name(descriptor.get(), *name); !bound) return failed(std::move(bound));
  return Socket(std::move(descriptor), address, folder);
}

host::Result<Socket> Socket::bind_ephemeral(const std::filesystem::path &folder) {
  const auto start = static_cast<std::uint32_t>(getpid());
  for (std::uint32_t offset = 0; offset < ephemeral_saps; ++offset) {
    const std::uint32_t sap = first_ephemeral_sap + (start + offset) % ephemeral_saps;
    host::Result<Socket> socket = bind(folder, Address{0, sap});
    if (socket || socket.error().cause != std::errc::address_in_use) return socket;
  }
  return failure(errno_cause(EADDRINUSE));
}

bool Socket::add_helper() {
  if (helpers_.size() == helper_limit) return false;
  host::Descriptor helper = make_socket();
  if (!helper) return false;
  helpers_.push_back(std::move(helper));
  return true;
}

host::Result<> Socket::send_by_any(Address destination, const Header &header,
                                   std::span<const std::byte> payload) {
  std::optional<sockaddr_un> name = socket_address(name_of(folder_, destination));
  if (!name) return failure(errno_cause(ENAMETOOLONG));
  std::array<iovec, 2> parts{iovec{const_cast<Header *>(&header), sizeof header},
                             iovec{const_cast<std::byte *>(payload.data()), payload.size()}};
  msghdr message{};
  message.msg_name = &*name;
  message.msg_namelen = sizeof *name;
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();

  // EAGAIN means either that the peer's queue is full or that the sender's own buffer is full.
  std::size_t next_helper = 0;
  int fd = descriptor_.get();
  while (sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != ENOBUFS)
      return failure(errno_cause(errno == ENOENT ? ECONNREFUSED : errno));
    if (next_helper == helpers_.size() && !add_helper()) return failure(errno_cause(ENOBUFS));
    fd = helpers_[next_helper++].get();
  }
  return {};
}

host::Result<> Socket::send(Address destination, Kind kind, std::uint32_t opcode, std::uint32_t token,
                            std::span<const std::byte> payload) {
  if (payload.size() > payload_limit) return failure(errno_cause(EMSGSIZE));
  const Header header{
      magic, version, kind, opcode, token, address_, static_cast<std::uint32_t>(payload.size()), 0};
  host::Result<> sent = send_by_any(destination, header, payload);
  if (sent) {
    ++counters_.sent;
  } else if (sent.error().cause == std::errc::no_buffer_space) {
    ++counters_.refused_full;
  } else if (sent.error().cause == std::errc::connection_refused) {
    ++counters_.refused_absent;
  }
  return sent;
}

host::Result<Message> Socket::receive() {
  for (int dropped = 0; dropped < malformed_per_receive; ++dropped) {
    host::Result<Datagram> datagram = take_datagram(descriptor_.get());
    if (!datagram) return failed(std::move(datagram));
    if (datagram->taken == Taken::message) {
      ++counters_.received;
      const Header &header = datagram->header;
      return Message{header.kind, header.opcode, header.token, header.source, std::move(datagram->payload)};
    }
    const bool foreign = datagram->taken == Taken::foreign;
    ++(foreign ? counters_.foreign : counters_.malformed);
    std::fprintf(stderr, "bus: dropped a %s datagram at %x.%u\n", foreign ? "foreign user's" : "malformed",
                 address_.node, address_.sap);
  }
  return failure(errno_cause(EAGAIN));
}

host::Result<Message> Socket::ask(Address destination, std::uint32_t opcode,
                                  std::span<const std::byte> payload, int timeout_ms) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  const std::uint32_t token = next_token_++;
  if (host::Result<> sent = send(destination, Kind::request, opcode, token, payload); !sent)
    return failed(std::move(sent));
  const auto busy_poll_until = std::min<Clock::time_point>(deadline, Clock::now() + busy_poll_time_);
  while (true) {
    host::Result<Message> message = receive();
    if (!message && message.error().cause != errno_cause(EAGAIN)) return message;
    if (message && message->kind == Kind::response && message->opcode == opcode && message->token == token &&
        message->source == destination)
      return message;
    if (Clock::now() < busy_poll_until) {
      std::this_thread::yield();
      continue;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd readable{descriptor_.get(), POLLIN, 0};
    if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) == 0) return failure(errno_cause(ETIMEDOUT));
  }
}

}  // namespace opal::bus
