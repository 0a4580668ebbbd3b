#include "opal/overseer.h"

#include <dlfcn.h>
#include <unistd.h>

#include <list>
#include <string>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

namespace {

using namespace opal;

/// Heartbeat timeout until a supervisor has sent one.
constexpr std::uint32_t default_heartbeat_timeout_ms = 30'000;

enum Dispatch { taken_and_released = 1, taken = 0, not_ours = -1 };

/// The result of the handshake with the supervisor.
struct Settings {
  bool known = false;
  qbus_queue_t queue = -1;
  std::uint32_t uuid = 0;
  std::uint32_t heartbeat_timeout_ms = default_heartbeat_timeout_ms;
  bool conditional_done = false;
};

/// Where the supervisor keeps the program's stores.
struct Locations {
  std::string running_uri;
  std::string startup_uri;
  std::string file_prefix;
  friend bool operator==(const Locations &, const Locations &) = default;
};

Settings &settings() {
  static Settings the_settings;
  return the_settings;
}

/// Requested at every use, which may be before the handshake; the last answer is valid until there is
/// another. The program keeps pointers into an answer across further calls, so no answer is ever freed.
const Locations &locations() {
  static std::list<Locations> answers(1);
  if (const auto told = ask<bus::StoreLocations>(bus::address::overseer, bus::opcode::store_locations, {})) {
    Locations latest{std::string(bus::text_of(told->running_uri)),
                     std::string(bus::text_of(told->startup_uri)),
                     std::string(bus::text_of(told->file_prefix))};
    if (latest != answers.back()) answers.push_back(std::move(latest));
  }
  return answers.back();
}

const char *uri_or_null(const std::string &uri) { return uri.empty() ? nullptr : uri.c_str(); }

host::Result<> answer(const qbus_msg_ref_t *request, rcode_t rcode) {
  return reply_to(request, bus::bytes_of(bus::Result{rcode}));
}

using ConfigWriteCallback = decltype(&overseercb_cfg_write);

/// The program's own routine, found by name at the time of the call.
ConfigWriteCallback find_config_write() {
  return reinterpret_cast<ConfigWriteCallback>(dlsym(RTLD_DEFAULT, "overseercb_cfg_write"));
}

void write_config(qbus_msg_ref_t *request, const bus::Message &message) {
  const std::optional<bus::ConfigWrite> where = bus::record_of<bus::ConfigWrite>(message.payload);
  if (!where) {
    answer(request, RCODE_INVALID);
    return;
  }
  const ConfigWriteCallback callback = find_config_write();
  if (callback == nullptr) {
    answer(request, RCODE_UNAVAILABLE);
    return;
  }
  const std::string bin_uri(bus::text_of(where->bin_uri));
  const std::string debug_uri(bus::text_of(where->debug_uri));
  callback(request, bin_uri.c_str(), debug_uri.c_str());
}

}  // namespace

int overseer_handshake(qbus_queue_t queue, uint32_t uuid) {
  Queue *found = find_queue(queue);
  if (found == nullptr) return static_cast<int>(RCODE_INVALID);
  const bus::Handshake handshake{uuid, getpid(), found->address()};
  const auto told =
      ask<bus::HandshakeAnswer>(bus::address::overseer, bus::opcode::handshake, bus::bytes_of(handshake));
  if (!told) return static_cast<int>(rcode_of(told));
  settings() = Settings{.known = true,
                        .queue = queue,
                        .uuid = uuid,
                        .heartbeat_timeout_ms = told->heartbeat_timeout_ms,
                        .conditional_done = told->conditional_done != 0};
  return 0;
}

int overseer_conditional_srv_was_handshake_done(void) { return settings().conditional_done ? 1 : 0; }

int overseer_condition_verified(uint32_t condition, uint32_t instance) {
  const bus::Condition asked{condition, instance};
  return static_cast<int>(
      rcode_of(ask(bus::address::overseer, bus::opcode::condition, bus::bytes_of(asked))));
}

uint32_t overseer_heartbeat_timeout_get(void) { return settings().heartbeat_timeout_ms; }

int overseer_heartbeat(int first) {
  Queue *queue = settings().known ? find_queue(settings().queue) : nullptr;
  if (queue == nullptr) return static_cast<int>(RCODE_UNAVAILABLE);
  const bus::Heartbeat beat{settings().uuid, first != 0 ? 1u : 0u};
  const host::Result<> sent =
      queue->send(bus::address::overseer, bus::Kind::notice, bus::opcode::heartbeat, 0, bus::bytes_of(beat));
  return sent ? 0 : static_cast<int>(RCODE_UNAVAILABLE);
}

int overseer_notify_conditional_srv_start_status(int status) {
  const bus::StartStatus report{settings().uuid, status};
  return static_cast<int>(
      rcode_of(ask(bus::address::overseer, bus::opcode::start_status, bus::bytes_of(report))));
}

int overseer_dispatch(qbus_msg_ref_t *message) {
  const Held *held = message_table().find(message);
  if (held == nullptr) return not_ours;
  if (held->kind == HeldKind::expiry) {
    const std::uint32_t source = held->source;
    message_table().release(message);
    run_timer(source);
    return taken_and_released;
  }
  if (held->kind != HeldKind::received || held->message.kind != bus::Kind::request) return not_ours;
  switch (held->message.opcode) {
    case bus::opcode::barrier:
      answer(message, RCODE_SUCCESS);
      message_table().release(message);
      return taken_and_released;
    case bus::opcode::config_write:
      write_config(message, held->message);
      return taken;
    default:
      return not_ours;
  }
}

const char *overseer_running_cfg_uri_get(void) { return uri_or_null(locations().running_uri); }

const char *overseer_startup_cfg_uri_get(void) { return uri_or_null(locations().startup_uri); }

const char *overseer_file_prefix_get(void) { return locations().file_prefix.c_str(); }

const char *overseer_uri_complete(const char *base_uri, const char *file_prefix, const char *name) {
  static std::string uri;
  uri.clear();
  if (base_uri == nullptr || name == nullptr) return uri.c_str();
  uri.append(base_uri).append(file_prefix != nullptr ? file_prefix : "").append(name);
  return uri.c_str();
}

int overseer_cfg_action_done(qbus_msg_ref_t *request, rcode_t status) {
  return answer(request, status) ? 0 : static_cast<int>(RCODE_UNAVAILABLE);
}
