#include "host/chassis/wires/capture.h"

#include <fmt/core.h>

#include <asio/buffer.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>
#include <cstdint>
#include <ctime>

#include "host/chassis/base/run_files.h"

namespace chassis {
namespace {

using LocalSocket = asio::local::stream_protocol::socket;

constexpr std::size_t waiting_limit = 4 << 20;
constexpr std::size_t name_limit = 64;

struct FileHeader {
  std::uint32_t magic = 0xa1b23c4d;  ///< pcap with nanoseconds, in this host's byte order
  std::uint16_t major = 2, minor = 4;
  std::uint32_t zone = 0, accuracy = 0;
  std::uint32_t longest = 65535;
  std::uint32_t link_type = 1;  ///< Ethernet
};
static_assert(sizeof(FileHeader) == 24);

struct FrameHeader {
  std::uint32_t seconds, nanoseconds, captured, length;
};
static_assert(sizeof(FrameHeader) == 16);

}  // namespace

/// One watcher.
class CaptureStream : public std::enable_shared_from_this<CaptureStream> {
 public:
  explicit CaptureStream(LocalSocket socket) : socket_(std::move(socket)) {}

  void read_name(std::function<void(const std::string &)> take) {
    const auto self = shared_from_this();
    asio::async_read_until(socket_, asio::dynamic_buffer(name_, name_limit), '\n',
                           [self, take = std::move(take)](const asio::error_code &error, std::size_t length) {
                             if (!error) take(self->name_.substr(0, length - 1));
                           });
  }

  void send(std::span<const std::byte> bytes) {
    if (waiting_.size() + bytes.size() > waiting_limit) return;
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
    if (sending_.empty()) flush();
  }

  /// Detects the end of the watcher, even while no frame passes.
  void watch_for_end() {
    socket_.async_wait(LocalSocket::wait_read,
                       [self = shared_from_this()](const asio::error_code &) { self->ended_ = true; });
  }

  bool ended() const { return ended_; }

 private:
  void flush() {
    sending_.swap(waiting_);
    asio::async_write(socket_, asio::buffer(sending_),
                      [self = shared_from_this()](const asio::error_code &error, std::size_t) {
                        self->sending_.clear();
                        self->ended_ = self->ended_ || error;
                        if (!self->ended_ && !self->waiting_.empty()) self->flush();
                      });
  }

  LocalSocket socket_;
  std::string name_;
  std::vector<std::byte> waiting_, sending_;
  bool ended_ = false;
};

void CapturePoint::record(std::span<const std::byte> frame) {
  std::erase_if(streams_, [](const auto &stream) { return stream->ended(); });
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const auto length = static_cast<std::uint32_t>(frame.size());
  const FrameHeader header{static_cast<std::uint32_t>(now.tv_sec), static_cast<std::uint32_t>(now.tv_nsec),
                           length, length};
  const auto header_bytes = std::as_bytes(std::span(&header, 1));
  std::vector<std::byte> bytes(header_bytes.begin(), header_bytes.end());
  bytes.insert(bytes.end(), frame.begin(), frame.end());
  for (const auto &stream : streams_) stream->send(bytes);
}

host::Result<std::unique_ptr<CaptureServer>> CaptureServer::listen(asio::io_context &loop,
                                                                   const std::filesystem::path &run_folder) {
  const asio::local::stream_protocol::endpoint endpoint((run_folder / capture_socket).string());
  asio::local::stream_protocol::acceptor acceptor(loop);
  asio::error_code error;
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error)
    return host::failure(error, fmt::format("cannot listen at {}: {}", endpoint.path(), error.message()));
  return std::unique_ptr<CaptureServer>(
      new CaptureServer(std::move(acceptor)));  // NOLINT: private constructor
}

CaptureServer::CaptureServer(asio::local::stream_protocol::acceptor acceptor)
    : acceptor_(std::move(acceptor)) {
  accept();
}

CaptureServer::~CaptureServer() = default;

CapturePoint &CaptureServer::add_point(const std::string &name) { return points_[name]; }

void CaptureServer::accept() {
  acceptor_.async_accept([this](const asio::error_code &error, LocalSocket socket) {
    if (error) return;
    auto stream = std::make_shared<CaptureStream>(std::move(socket));
    stream->read_name([this, stream](const std::string &name) { greet(stream, name); });
    accept();
  });
}

void CaptureServer::greet(std::shared_ptr<CaptureStream> stream, const std::string &name) {
  const auto point = points_.find(name);
  if (point == points_.end()) {
    std::string known;
    for (const auto &[each, unused] : points_) known += fmt::format("{}{}", known.empty() ? "" : ", ", each);
    const std::string answer = fmt::format("!there is no capture point '{}'; there are {}\n", name, known);
    stream->send(std::as_bytes(std::span(answer)));
    return;
  }
  const FileHeader header;
  stream->send(std::as_bytes(std::span(&header, 1)));
  stream->watch_for_end();
  point->second.add(std::move(stream));
}

}  // namespace chassis
