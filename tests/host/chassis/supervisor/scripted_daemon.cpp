// A program in the daemon's place. The file `behaviour` in its run folder says how it behaves:
//
//   serve        handshake, two heartbeats, answers barriers and saves
//   one-beat     as serve, but without the second heartbeat
//   mute         sends heartbeats, but never answers
//   hang         sends nothing
//   die N        prints a message and exits with status N
//   crash-once   ends by SIGABRT; serves at the next start
#include <poll.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <unistd.h>

#include "host/bus/services.h"
#include "host/bus/socket.h"
#include "opal/rcode.h"

namespace {

namespace bus = opal::bus;

std::string read_behaviour() {
  std::ifstream file(bus::run_folder() / "behaviour");
  std::string word;
  std::getline(file, word);
  return word;
}

void beat(bus::Socket &queue, std::uint32_t first) {
  const bus::Heartbeat heartbeat{738, first};
  queue.send(bus::address::overseer, bus::Kind::notice, bus::opcode::heartbeat, 0, bus::bytes_of(heartbeat));
}

void answer_for_ever(bus::Socket &queue) {
  for (;;) {
    pollfd readable{queue.fd(), POLLIN, 0};
    poll(&readable, 1, -1);
    while (const auto message = queue.receive()) {
      if (message->kind != bus::Kind::request) continue;
      queue.send(message->source, bus::Kind::response, message->opcode, message->token,
                 bus::bytes_of(bus::Result{0}));
    }
  }
}

[[noreturn]] void hang() {
  for (;;) pause();
}

}  // namespace

int main() {
  const std::string behaviour = read_behaviour();
  if (behaviour == "hang") hang();
  if (behaviour.starts_with("die")) {
    std::fprintf(stderr, "cannot go on\n");
    return std::atoi(behaviour.c_str() + 3);
  }
  if (behaviour == "crash-once") {
    std::ofstream(bus::run_folder() / "behaviour") << "serve\n";
    std::abort();
  }
  auto queue = bus::Socket::bind(bus::run_folder(), bus::address::tesk);
  auto caller = bus::Socket::bind_ephemeral(bus::run_folder());
  if (!queue || !caller) return 9;
  const bus::Handshake handshake{738, getpid(), bus::address::tesk};
  caller->ask(bus::address::overseer, bus::opcode::handshake, bus::bytes_of(handshake), 2000);
  beat(*queue, 1);
  if (behaviour == "mute") hang();
  if (behaviour != "one-beat") beat(*queue, 0);
  answer_for_ever(*queue);
}
