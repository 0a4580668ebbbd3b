#include "host/chassis/wires/capture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <cstring>

#include "host/chassis/base/run_files.h"
#include "tests/host/chassis/asic/frames.h"

namespace chassis {
namespace {

using LocalSocket = asio::local::stream_protocol::socket;

struct CaptureTest : testing::Test {
  CaptureTest() : folder(std::filesystem::temp_directory_path() / ("capture" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder);
    server = CaptureServer::listen(loop, folder).value();
    point = &server->add_point("blade1");
    server->add_point("amm");
  }
  ~CaptureTest() override {
    server.reset();
    std::filesystem::remove_all(folder);
  }

  LocalSocket connect(const std::string &name) {
    LocalSocket socket(loop);
    socket.connect((folder / capture_socket).string());
    asio::write(socket, asio::buffer(name + "\n"));
    return socket;
  }

  /// Runs the server until `length` bytes have arrived, or the time limit has passed.
  std::vector<std::byte> receive(LocalSocket &socket, std::size_t length) {
    std::vector<std::byte> bytes(length);
    bool done = false;
    asio::async_read(socket, asio::buffer(bytes), [&](const asio::error_code &, std::size_t count) {
      bytes.resize(count);
      done = true;
    });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done && std::chrono::steady_clock::now() < limit)
      loop.run_one_for(std::chrono::milliseconds(100));
    if (!done) ADD_FAILURE() << "no answer within 5 s";
    return bytes;
  }

  std::filesystem::path folder;
  asio::io_context loop;
  std::unique_ptr<CaptureServer> server;
  CapturePoint *point = nullptr;
};

TEST_F(CaptureTest, AWatcherGetsAPcapHeaderAndThenEveryFrame) {
  auto socket = connect("blade1");
  const auto header = receive(socket, 24);
  const auto expected =
      test::bytes({0x4d, 0x3c, 0xb2, 0xa1, 2, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 0, 0, 1, 0, 0, 0});
  EXPECT_EQ(header, expected);
  const auto frame = test::tagged_frame(100);
  point->pass(frame);
  const auto record = receive(socket, 16 + frame.size());
  EXPECT_EQ(record[8], std::byte{60});
  EXPECT_EQ(record[12], std::byte{60});
  EXPECT_TRUE(std::equal(frame.begin(), frame.end(), record.begin() + 16));
}

TEST_F(CaptureTest, AnUnknownPointIsToldWithTheKnownOnes) {
  auto socket = connect("blade9");
  const std::string told = "!there is no capture point 'blade9'; there are amm, blade1\n";
  const auto answer = receive(socket, told.size());
  EXPECT_EQ(std::memcmp(answer.data(), told.data(), told.size()), 0);
}

TEST_F(CaptureTest, AWatcherThatDoesNotReadHoldsNothingUp) {
  auto socket = connect("blade1");
  receive(socket, 24);
  const auto frame = test::tagged_frame(100, false, 1500);
  for (int count = 0; count < 10000; ++count) {
    point->pass(frame);
    loop.poll();
  }
  std::size_t whole = 0;
  for (; whole < 2800; ++whole) {
    const auto record = receive(socket, 16 + frame.size());
    ASSERT_EQ(record.size(), 16 + frame.size());
    ASSERT_TRUE(std::equal(frame.begin(), frame.end(), record.begin() + 16)) << whole;
  }
}

TEST_F(CaptureTest, AWatcherThatLeftIsForgotten) {
  EXPECT_FALSE(point->is_watched());
  {
    auto socket = connect("blade1");
    receive(socket, 24);
    EXPECT_TRUE(point->is_watched());
  }
  loop.run_one_for(std::chrono::seconds(5));
  point->pass(test::tagged_frame(100));
  EXPECT_FALSE(point->is_watched());
}

}  // namespace
}  // namespace chassis
