#include "tests/host/shell/scripted_peers.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

namespace shell_test {

using namespace opal;

namespace {

std::filesystem::path make_folder() {
  std::array<char, 32> pattern{"/tmp/shell-test-XXXXXX"};
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("mkdtemp");
  }
  return pattern.data();
}

}  // namespace

ScriptedPeers::ScriptedPeers() : folder_(make_folder()), stop_(eventfd(0, EFD_CLOEXEC)) {
  std::filesystem::create_directory(folder_ / "bus");
  for (const bus::Address address :
       {bus::address::cush, bus::address::tesk, bus::address::rcgen, bus::address::overseer}) {
    auto socket = bus::Socket::bind(folder_, address);
    if (!socket) {
      throw std::runtime_error(socket.error().cause.message());
    }
    sockets_.push_back(std::move(*socket));
  }
  thread_ = std::thread([this] { serve(); });
}

ScriptedPeers::~ScriptedPeers() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
  sockets_.clear();
  std::filesystem::remove_all(folder_);
}

void ScriptedPeers::answer(std::uint32_t opcode, bus::Payload payload) {
  const std::lock_guard lock(mutex_);
  answers_[opcode] = std::move(payload);
}

void ScriptedPeers::register_trees(const std::vector<std::string> &names) {
  std::vector<bus::ParseTree> trees;
  for (const std::string &name : names) {
    bus::ParseTree tree{};
    bus::set_text(tree.name, name);
    tree.server = bus::address::tesk;
    trees.push_back(tree);
  }
  answer(bus::opcode::list_parse_trees, bus::encode_parse_trees(0, trees));
}

void ScriptedPeers::remove(bus::Address address) {
  const std::lock_guard lock(mutex_);
  std::erase_if(sockets_, [&](const bus::Socket &socket) { return socket.address() == address; });
}

std::vector<bus::Payload> ScriptedPeers::asked(std::uint32_t opcode) const {
  const std::lock_guard lock(mutex_);
  std::vector<bus::Payload> payloads;
  const auto [first, last] = asked_.equal_range(opcode);
  std::transform(first, last, std::back_inserter(payloads), [](const auto &entry) { return entry.second; });
  return payloads;
}

void ScriptedPeers::serve() {
  for (;;) {
    std::vector<pollfd> waiting{{stop_.get(), POLLIN, 0}};
    {
      const std::lock_guard lock(mutex_);
      for (const bus::Socket &socket : sockets_) {
        waiting.push_back({socket.fd(), POLLIN, 0});
      }
    }
    poll(waiting.data(), waiting.size(), 100);
    if (waiting.front().revents != 0) {
      return;
    }
    const std::lock_guard lock(mutex_);
    for (bus::Socket &socket : sockets_) {
      take(socket);
    }
  }
}

void ScriptedPeers::take(bus::Socket &socket) {
  while (const auto message = socket.receive()) {
    asked_.emplace(message->opcode, message->payload);
    if (const auto found = answers_.find(message->opcode); found != answers_.end()) {
      socket.send(message->source, bus::Kind::response, message->opcode, message->token, found->second);
    }
  }
}

}  // namespace shell_test
