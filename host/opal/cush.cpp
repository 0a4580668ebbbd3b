// A handle keeps no pointer into its message: it looks the message up by reference at every call, so
// that a handle used after its message was dropped finds nothing instead of freed memory.
#include "opal/cush.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

using namespace opal;

struct cmd_rx_handle {
  qbus_msg_ref_t message;
  bool id_taken;
  bool answered;
  const cmd_mrange_t *rejected;  ///< one of ranges_in_use, or null
};

/// At the front of the caller's buffer; the encoded attributes follow it.
struct cmd_rsp {
  cmd_rx_handle_t *handle;
  std::uint32_t room;
  std::uint32_t used;
  std::uint32_t attribute_count;
};

struct cmd_mrange {
  std::uint32_t attribute;
  std::vector<std::array<std::uint32_t, 2>> ranges;
};

namespace {

constexpr std::size_t nok_text_max = 1024;
constexpr std::uint32_t attribute_alignment = 8;

// Handles and responses live in memory that the program frees without a call to the library.
static_assert(std::is_trivially_destructible_v<cmd_rx_handle> && std::is_trivially_destructible_v<cmd_rsp>);

/// Range lists of the request in progress.
std::vector<std::unique_ptr<cmd_mrange_t>> &ranges_in_use() {
  static std::vector<std::unique_ptr<cmd_mrange_t>> ranges;
  return ranges;
}

bool is_in_use(const cmd_mrange_t *mrange) {
  return std::ranges::any_of(ranges_in_use(), [mrange](const auto &range) { return range.get() == mrange; });
}

/// The message whose handle was requested last but not made. A nok without a handle answers it.
qbus_msg_ref_t &message_without_handle() {
  static qbus_msg_ref_t message{};
  return message;
}

std::optional<bus::CommandView> command_of(const qbus_msg_ref_t *reference) {
  const bus::Message *message = received_message(reference);
  if (message == nullptr || message->kind != bus::Kind::request) return std::nullopt;
  return bus::decode_command(message->payload);
}

/// Sends the one answer of a request: head, text, the encoded attributes, and the rejected ranges.
int send_answer(cmd_rx_handle_t &handle, bool ok, std::string_view text, bus::Bytes attributes,
                std::uint32_t attribute_count) {
  if (handle.answered) return EALREADY;
  const cmd_mrange_t *rejected = is_in_use(handle.rejected) ? handle.rejected : nullptr;
  bus::Writer writer;
  writer.record(bus::CommandAnswer{1, ok ? 0u : 1u, static_cast<std::uint32_t>(text.size()),
                                   attribute_count + (rejected != nullptr ? 1 : 0)});
  writer.bytes(bus::bytes_of_text(text), attribute_alignment);
  writer.bytes(attributes);
  if (rejected != nullptr) {
    const bus::Bytes ranges = std::as_bytes(std::span(rejected->ranges));
    writer.record(bus::Attribute{rejected->attribute, static_cast<std::uint32_t>(ranges.size()),
                                 bus::AttributeKind::rejected_range, 0});
    writer.bytes(ranges, attribute_alignment);
  }
  handle.answered = true;
  ranges_in_use().clear();
  return errno_of(reply_to(&handle.message, writer.take()));
}

int answer_refused(std::string_view text) {
  const host::Result<> sent =
      reply_to(&message_without_handle(), bus::encode_command_answer({false, text, {}}));
  message_without_handle() = {};
  return errno_of(sent);
}

std::byte *attributes_of(cmd_rsp_t *response) { return reinterpret_cast<std::byte *>(response + 1); }

}  // namespace

int cush_register_parse_tree(qbus_queue_t queue, const char *name) {
  const Queue *found = find_queue(queue);
  bus::Registration registration{};
  if (found == nullptr || name == nullptr || std::strlen(name) >= sizeof registration.name)
    return static_cast<int>(RCODE_INVALID);
  registration.queue = found->address();
  bus::set_text(registration.name, name);
  return static_cast<int>(
      rcode_of(ask(bus::address::cush, bus::opcode::register_parse_tree, bus::bytes_of(registration))));
}

int cmd_backend_init(qbus_queue_t queue) {
  const Queue *found = find_queue(queue);
  if (found == nullptr) return static_cast<int>(RCODE_INVALID);
  const bus::Registration registration{found->address(), {}};
  return static_cast<int>(
      rcode_of(ask(bus::address::cush, bus::opcode::backend_init, bus::bytes_of(registration))));
}

// A program without memory for the scratch area does not make the second call, but still refuses the message.
size_t cmd_req_handle_get_1(const qbus_msg_ref_t *message) {
  message_without_handle() = message != nullptr ? *message : qbus_msg_ref_t{};
  return sizeof(cmd_rx_handle_t);
}

cmd_rx_handle_t *cmd_req_handle_get_2(const qbus_msg_ref_t *message, void *scratch) {
  message_without_handle() = message != nullptr ? *message : qbus_msg_ref_t{};
  if (scratch == nullptr || !command_of(message)) return nullptr;
  message_without_handle() = {};
  ranges_in_use().clear();
  return new (scratch) cmd_rx_handle_t{*message, false, false, nullptr};
}

uint32_t cmd_req_cmdId_getnext(cmd_rx_handle_t *handle) {
  if (handle == nullptr || handle->id_taken) return 0;
  const std::optional<bus::CommandView> command = command_of(&handle->message);
  handle->id_taken = true;
  return command ? command->id : 0;
}

int cmd_req_action_is_del(cmd_rx_handle_t *handle) {
  if (handle == nullptr) return 0;
  const std::optional<bus::CommandView> command = command_of(&handle->message);
  return command && command->is_del ? 1 : 0;
}

int cmd_req_attr_get(cmd_rx_handle_t *handle, uint32_t attribute, void **value, uint32_t *length) {
  if (handle == nullptr) return EINVAL;
  const std::optional<bus::CommandView> command = command_of(&handle->message);
  if (!command) return EINVAL;
  const auto found = std::ranges::find(command->attributes, attribute, &bus::AttributeView::id);
  if (found == command->attributes.end()) return ENOENT;
  *value = const_cast<std::byte *>(found->value.data());
  *length = static_cast<uint32_t>(found->value.size());
  return 0;
}

cmd_rsp_t *cmd_rsp_init(cmd_rx_handle_t *handle, void *buffer, uint32_t size) {
  if (handle == nullptr || buffer == nullptr) return nullptr;
  std::size_t room = size;
  void *place = std::align(alignof(cmd_rsp_t), sizeof(cmd_rsp_t), buffer, room);
  if (place == nullptr) return nullptr;
  return new (place) cmd_rsp_t{handle, static_cast<std::uint32_t>(room - sizeof(cmd_rsp_t)), 0, 0};
}

int cmd_rsp_attr_add(cmd_rsp_t *response, uint32_t attribute, const void *value, uint32_t length) {
  if (response == nullptr || (value == nullptr && length != 0)) return EINVAL;
  const bus::Bytes bytes{static_cast<const std::byte *>(value), length};
  if (length > response->room) return ENOSPC;
  bus::Writer writer;
  writer.record(bus::Attribute{attribute, length, bus::AttributeKind::value, 0})
      .bytes(bytes, attribute_alignment);
  const bus::Payload encoded = writer.take();
  if (encoded.size() > response->room - response->used) return ENOSPC;
  std::memcpy(attributes_of(response) + response->used, encoded.data(), encoded.size());
  response->used += static_cast<std::uint32_t>(encoded.size());
  ++response->attribute_count;
  return 0;
}

int cmd_rsp_send(cmd_rsp_t *response) {
  if (response == nullptr) return EINVAL;
  return send_answer(*response->handle, true, {}, {attributes_of(response), response->used},
                     response->attribute_count);
}

int cmd_rsp_send_ok(cmd_rx_handle_t *handle) {
  return handle != nullptr ? send_answer(*handle, true, {}, {}, 0) : EINVAL;
}

int cmd_rsp_send_nok(cmd_rx_handle_t *handle, uint32_t flags, const char *format, ...) {
  if (flags != 0) return EINVAL;
  std::array<char, nok_text_max> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  return handle != nullptr ? send_answer(*handle, false, text.data(), {}, 0) : answer_refused(text.data());
}

cmd_mrange_t *cmd_mrange_create(uint32_t attribute) {
  ranges_in_use().push_back(std::make_unique<cmd_mrange_t>(cmd_mrange_t{attribute, {}}));
  return ranges_in_use().back().get();
}

int cmd_mrange_range_add(cmd_mrange_t *mrange, uint32_t lower, uint32_t upper) {
  if (!is_in_use(mrange)) return EINVAL;
  if (mrange->ranges.size() == CUSH_RANGE_ENTRIES) return ENOSPC;
  mrange->ranges.push_back({lower, upper});
  return 0;
}

int cmd_rsp_error_set(cmd_rx_handle_t *handle, cmd_mrange_t *mrange) {
  if (handle == nullptr || !is_in_use(mrange)) return EINVAL;
  handle->rejected = mrange;
  return 0;
}
