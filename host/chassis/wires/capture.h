// Watching the wires: `chassis capture POINT` is told every frame that passes a point, in both directions.
//
// A point is a place that frames pass: "blade1" or "amm" (the node's wire), "inb0" and "mgmt0" or "mgmt1"
// (the daemon's devices, ASIC headers taken off). Whoever connects to `capture` in the run folder and sends a
// point's name and a line end gets a pcap stream of Ethernet frames with times in nanoseconds; an unknown
// name gets one line that begins with "!" and the connection ends.
//
// Watching never delays the frames: a watcher that does not read keeps 4 MiB waiting at most; what does not
// fit is left out, whole frames only.
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
  /// A frame passes.
  void pass(std::span<const std::byte> frame) {
    if (is_watched()) record(frame);
  }
  /// Whether somebody watches, or did when the last frame passed.
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
