// One service's place on the message bus: a bound socket on the event loop, a table of {opcode, handler},
// and the service's own requests that wait for an answer.
//
// A handler gets the decoded record of a request and returns the answer. A payload of the wrong size and an
// opcode without a row are counted and answered RCODE_INVALID; no handler sees them. A row may name a fault
// (faults.h): while it is set, requests of that row are refused, left without answer, or handled late.
//
// Everything runs on the loop's thread. An endpoint may be destroyed at any time; nothing that it started calls
// back afterwards.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <concepts>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "host/bus/codec.h"
#include "host/bus/services.h"
#include "host/bus/socket.h"
#include "host/chassis/base/bounded_waits.h"
#include "host/chassis/base/timer.h"
#include "host/chassis/base/watch.h"
#include "host/chassis/endpoint/faults.h"
#include "opal/rcode.h"

namespace chassis {

namespace bus = opal::bus;

/// The payload of requests that carry none.
struct Nothing {};

struct EndpointCounters {
  std::uint64_t taken = 0;           ///< messages given to a handler
  std::uint64_t malformed = 0;       ///< of a known opcode, but of the wrong size or content
  std::uint64_t unknown_opcode = 0;  ///< of an opcode that the service does not serve
  std::uint64_t faulted = 0;         ///< refused or left without answer by a fault
  std::uint64_t not_sent = 0;        ///< messages that their receiver did not take
};

class Endpoint {
 public:
  /// Gets the whole message and sends the answer itself, now or later.
  using Handler = std::function<void(const bus::Message &)>;
  /// Gets the response, or nothing when none came in time.
  using OnAnswer = std::function<void(const bus::Message *response)>;

  Endpoint(asio::io_context &loop, const FaultTable &faults, std::string name, bus::Address address);
  Endpoint(const Endpoint &) = delete;
  Endpoint &operator=(const Endpoint &) = delete;

  /// Binds the address and begins to serve.
  [[nodiscard]] host::Result<> bind(const std::filesystem::path &run_folder);

  /// Adds a row whose handler sends the answer itself.
  void serve_messages(std::uint32_t opcode, std::string fault, Handler handler);

  /// Adds a row: `function(const Record &, const bus::Message &)` returns the response, a record or a
  /// bus::Payload.
  template <typename Record, typename Function>
  void serve(std::uint32_t opcode, const std::string &fault, Function function);

  /// Adds a row for notices: `function(const Record &)` returns nothing.
  template <typename Record, typename Function>
  void serve_notice(std::uint32_t opcode, Function function);

  void answer(const bus::Message &request, std::span<const std::byte> payload);
  void answer_result(const bus::Message &request, rcode_t rcode);
  /// Counts and answers a request whose content is wrong.
  void answer_malformed(const bus::Message &request);

  /// @return whether the receiver took it
  bool send_notice(bus::Address to, std::uint32_t opcode, std::span<const std::byte> payload);

  /// Sends a request; `on_answer` runs once, later, unless the endpoint is destroyed first.
  void ask(bus::Address whom, std::uint32_t opcode, std::span<const std::byte> payload,
           std::chrono::milliseconds bound, OnAnswer on_answer);

  /// Gives up every request that waits: each `on_answer` gets null. For when the other end has died.
  void give_up_waiting();

  const std::string &name() const { return name_; }
  const EndpointCounters &counters() const { return counters_; }
  const bus::SocketCounters *socket_counters() const { return socket_ ? &socket_->counters() : nullptr; }

 private:
  struct Row {
    std::string fault;
    Handler handler;
  };
  /// Token, responder and opcode: a response that differs in any of them answers nothing.
  using Asked = std::tuple<std::uint32_t, bus::Address, std::uint32_t>;

  ReadResult take_message();
  void dispatch(const bus::Message &message);
  void dispatch_later(bus::Message message, const Row &row, std::chrono::milliseconds delay);
  void take_response(const bus::Message &message);

  asio::io_context &loop_;
  const FaultTable &faults_;
  std::string name_;
  bus::Address address_;
  std::optional<bus::Socket> socket_;
  std::optional<Watch> watch_;
  std::map<std::uint32_t, Row> rows_;
  BoundedWaits<Asked, bus::Message> waiting_;
  std::list<Timer> delayed_;  ///< one for each message that a fault delays
  std::uint32_t next_token_ = 1;
  EndpointCounters counters_;
};

/// The record that a message carries; nothing when the payload's size is not the record's.
template <typename Record>
std::optional<Record> record_in(const bus::Message &message) {
  if constexpr (std::is_empty_v<Record>) {
    return message.payload.empty() ? std::optional<Record>(Record{}) : std::nullopt;
  } else {
    return bus::record_of<Record>(message.payload);
  }
}

template <typename Record, typename Function>
void Endpoint::serve(std::uint32_t opcode, const std::string &fault, Function function) {
  serve_messages(opcode, fault, [this, function](const bus::Message &message) {
    const std::optional<Record> record = record_in<Record>(message);
    if (!record) return answer_malformed(message);
    const auto response = function(*record, message);
    if constexpr (std::same_as<std::remove_cvref_t<decltype(response)>, bus::Payload>) {
      answer(message, response);
    } else {
      answer(message, bus::bytes_of(response));
    }
  });
}

template <typename Record, typename Function>
void Endpoint::serve_notice(std::uint32_t opcode, Function function) {
  serve_messages(opcode, "", [this, function](const bus::Message &message) {
    const std::optional<Record> record = record_in<Record>(message);
    if (!record) return answer_malformed(message);
    function(*record);
  });
}

}  // namespace chassis
