// Captures frames: `chassis capture POINT` receives every frame that passes a point, in both directions.
//
// A point is a place that frames pass: "blade1" or "amm" (the node's wire), "inb0" and "mgmt0" or "mgmt1"
// (the daemon's devices, without ASIC headers). A watcher connects to `capture` in the run folder and sends a
// point's name and a line end. It then receives a pcap stream of Ethernet frames with times in nanoseconds.
// For an unknown name it receives one line that begins with "!", and the connection ends.
//
// Capturing never delays the frames. For a watcher that does not read, at most 4 MiB are queued; a frame that
// does not fit is left out as a whole.
#pragma once

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

class CaptureStream;

class CapturePoint {
 public:
  /// Sends a passing frame to the watchers.
  void pass(std::span<const std::byte> frame) {
    if (is_watched()) record(frame);
  }
  /// Whether the point has a watcher, or had one when the last frame passed.
  bool is_watched() const { return !streams_.empty(); }
  void add(std::shared_ptr<CaptureStream> stream) { streams_.push_back(std::move(stream)); }

 private:
  void record(std::span<const std::byte> frame);

  std::vector<std::shared_ptr<CaptureStream>> streams_;
};

class CaptureServer {
 public:
  /// Listens at `run_folder`/capture.
  static host::Result<std::unique_ptr<CaptureServer>> listen(asio::io_context &loop,
                                                             const std::filesystem::path &run_folder);
  ~CaptureServer();
  CaptureServer(const CaptureServer &) = delete;
  CaptureServer &operator=(const CaptureServer &) = delete;

  /// Makes a point; it lives as long as the server.
  CapturePoint &add_point(const std::string &name);

 private:
  explicit CaptureServer(asio::local::stream_protocol::acceptor acceptor);
  void accept();
  void greet(std::shared_ptr<CaptureStream> stream, const std::string &name);

  asio::local::stream_protocol::acceptor acceptor_;
  std::map<std::string, CapturePoint> points_;
};

}  // namespace chassis
