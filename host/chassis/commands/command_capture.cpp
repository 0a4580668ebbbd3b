// `chassis capture POINT [tcpdump options]`
#include <fmt/core.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <filesystem>
#include <fstream>

#include "host/bus/socket.h"
#include "host/chassis/base/run_files.h"
#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/node_command.h"
#include "host/chassis/sandbox/sandbox_entry.h"

namespace chassis {
namespace {

using LocalSocket = asio::local::stream_protocol::socket;

host::Result<LocalSocket> ask_for(asio::io_context &loop, const std::string &point) {
  LocalSocket socket(loop);
  asio::error_code error;
  socket.connect((opal::bus::run_folder() / capture_socket).string(), error);
  if (error) {
    return host::failure(error,
                         fmt::format("the chassis's capture socket cannot be reached: {}", error.message()));
  }
  asio::write(socket, asio::buffer(point + "\n"), error);
  return socket;
}

/// Checks that the stream begins with the header of a capture file; otherwise it is a sentence that says why
/// not.
host::Result<> check_answer(LocalSocket &socket) {
  char first = 0;
  if (recv(socket.native_handle(), &first, 1, MSG_PEEK) != 1)
    return host::failure("the chassis ended the capture");
  if (first != '!') return {};
  std::string sentence;
  asio::error_code ended;
  asio::read(socket, asio::dynamic_buffer(sentence, 4096), ended);
  return host::failure(sentence.substr(1, sentence.find('\n') - 1));
}

/// When root starts tcpdump, it changes to another user, and fails in a sandbox that has no other user. In a
/// user namespace of its own it has one user, who is not root, and does not change.
void be_no_root() {
  if (unshare(CLONE_NEWUSER) != 0) return;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "65534 0 1";
  std::ofstream("/proc/self/gid_map") << "65534 0 1";
}

}  // namespace

host::Result<int> capture(const CaptureOptions &options) {
  if (host::Result<> entered = enter_sandbox(options.name); !entered) return failed(std::move(entered));
  asio::io_context loop;
  host::Result<LocalSocket> socket = ask_for(loop, options.point);
  if (!socket) return failed(std::move(socket));
  if (host::Result<> answered = check_answer(*socket); !answered) return failed(std::move(answered));
  if (dup2(socket->native_handle(), STDIN_FILENO) < 0)
    return host::failure("standard input cannot be replaced");
  socket->close();
  Words tcpdump{"tcpdump", "-r", "-"};
  if (options.tcpdump.empty()) tcpdump.insert(tcpdump.end(), {"-l", "-n", "-e"});
  tcpdump.insert(tcpdump.end(), options.tcpdump.begin(), options.tcpdump.end());
  return run_and_wait(tcpdump, be_no_root);
}

}  // namespace chassis
