#include "tests/standin/shell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <span>
#include <utility>

#include "opal/cush.h"
#include "opal/rcgen.h"
#include "tests/standin/memory.h"
#include "tests/standin/script.h"

/** Contents of the daemon's scratch area. The padding exposes an area that is too small. */
struct cmd_rx_handle {
  uint32_t command;
  uint32_t position;
  uint8_t padding[120];
};

struct cmd_rsp {
  uint32_t used;
};

struct cmd_mrange {
  uint32_t attribute;
};

struct rcgen_hdl {
  uint32_t request;
};

namespace standin {

namespace {

struct Shell {
  std::vector<Command> commands;
  std::vector<Generation> generations;
  std::deque<cmd_mrange> ranges;
  std::deque<rcgen_hdl> handles;
  cmd_rsp response{};
  int unanswered_generations = 0;
  bool awaits_handle = false;
  size_t blocks_when_answered = 0;
};

Shell the_shell;

/** The number of something kept here, which a message carries in its token. */
template <class Kept>
const Kept &kept(const std::vector<Kept> &all, uint32_t number) {
  static const Kept none{};
  return number < all.size() ? all[number] : none;
}

const Command &command_of(const cmd_rx_handle_t *handle) { return kept(the_shell.commands, handle->command); }

const Generation &generation_of(const qbus_msg_ref_t *request) {
  return kept(the_shell.generations, message_of(request).token);
}

std::string shown_handle(const cmd_rx_handle_t *handle) {
  return handle == nullptr ? "null" : "command " + std::to_string(command_of(handle).id);
}

/** Expects that the answer being built is the one that was started last. */
void expect_in_the_making(const rcgen_hdl *handle) {
  if (the_shell.handles.empty() || handle != &the_shell.handles.back())
    ADD_FAILURE() << "the daemon adds to a configuration text that it did not start";
}

std::string shown_value(const void *value, uint32_t length) {
  if (length != sizeof(uint32_t)) return shown_bytes(value, length);
  uint32_t number;
  std::memcpy(&number, value, sizeof number);
  return shown(hex(number));
}

Payload &add_ranges(Payload &payload, const std::vector<std::pair<uint32_t, uint32_t>> &ranges) {
  for (const auto &[lower, upper] : ranges) payload.u32(lower).u32(upper);
  return payload;
}

}  // namespace

Message message_of_command(Command command) {
  the_shell.commands.push_back(std::move(command));
  const auto number = static_cast<uint32_t>(the_shell.commands.size() - 1);
  return {.opcode = command_opcode, .payload = Payload().u32(number), .token = number};
}

Bytes vlan_ranges(const std::vector<std::pair<uint32_t, uint32_t>> &ranges) {
  Payload payload;
  payload.u32(0).u32(static_cast<uint32_t>(ranges.size()));
  add_ranges(payload, ranges);
  return payload.zeros((CUSH_RANGE_ENTRIES - ranges.size()) * 2 * sizeof(uint32_t));
}

Bytes interface_ranges(const std::vector<std::pair<uint32_t, uint32_t>> &ranges) {
  Payload payload;
  payload.u32(static_cast<uint32_t>(12 + 8 * ranges.size())).u32(static_cast<uint32_t>(ranges.size())).u32(0);
  return add_ranges(payload, ranges);
}

Message message_of_generation(Generation generation) {
  the_shell.generations.push_back(std::move(generation));
  const auto number = static_cast<uint32_t>(the_shell.generations.size() - 1);
  return {.opcode = generation_opcode, .payload = Payload().u32(number), .token = number};
}

size_t blocks_when_answered() { return the_shell.blocks_when_answered; }

void reset_shell() { the_shell = {}; }

void verify_shell() {
  if (the_shell.unanswered_generations != 0)
    ADD_FAILURE() << "the daemon never answered a request for configuration text";
}

}  // namespace standin

using namespace standin;

int cush_register_parse_tree(qbus_queue_t queue, const char *name) {
  return call("cush_register_parse_tree", queue, name).returns(0);
}

int cmd_backend_init(qbus_queue_t queue) { return call("cmd_backend_init", queue).returns(0); }

size_t cmd_req_handle_get_1(const qbus_msg_ref_t *message) {
  the_shell.awaits_handle = message_of(message).opcode == command_opcode;
  return quiet("cmd_req_handle_get_1").returns(sizeof(cmd_rx_handle));
}

cmd_rx_handle_t *cmd_req_handle_get_2(const qbus_msg_ref_t *message, void *scratch) {
  auto *handle = quiet("cmd_req_handle_get_2").returns_pointer(static_cast<cmd_rx_handle_t *>(scratch));
  if (handle == nullptr) return nullptr;
  the_shell.awaits_handle = false;
  std::memset(handle, 0xa5, sizeof *handle);
  handle->command = message_of(message).token;
  handle->position = 0;
  return handle;
}

uint32_t cmd_req_cmdId_getnext(cmd_rx_handle_t *handle) {
  return quiet("cmd_req_cmdId_getnext").returns(handle->position++ == 0 ? command_of(handle).id : 0);
}

int cmd_req_action_is_del(cmd_rx_handle_t *handle) {
  return quiet("cmd_req_action_is_del").returns(command_of(handle).is_no_form ? 1 : 0);
}

int cmd_req_attr_get(cmd_rx_handle_t *handle, uint32_t attribute, void **value, uint32_t *length) {
  const Answer answer = quiet("cmd_req_attr_get");
  if (answer.has_result()) return answer.returns(0);  // outputs stay unchanged
  const auto &attributes = command_of(handle).attributes;
  const auto found = attributes.find(attribute);
  if (found == attributes.end()) return answer.returns(1);
  static uint8_t nothing;  // an empty attribute has an address, too
  *value = found->second.empty() ? &nothing : const_cast<uint8_t *>(found->second.data());
  *length = static_cast<uint32_t>(found->second.size());
  return answer.returns(0);
}

cmd_rsp_t *cmd_rsp_init(cmd_rx_handle_t *handle, void *buffer, uint32_t size) {
  const std::span<uint8_t> room(static_cast<uint8_t *>(buffer), size);
  if (!std::ranges::all_of(room, [](uint8_t byte) { return byte == 0; }))
    ADD_FAILURE() << "the daemon starts a response in a buffer that is not cleared";
  std::ranges::fill(room, uint8_t{0xa5});
  the_shell.response = {};
  return call("cmd_rsp_init", shown_handle(handle), size).returns_pointer(&the_shell.response);
}

int cmd_rsp_attr_add(cmd_rsp_t *response, uint32_t attribute, const void *value, uint32_t length) {
  response->used += length;
  return call("cmd_rsp_attr_add", hex(attribute), shown_value(value, length), length).returns(0);
}

int cmd_rsp_send(cmd_rsp_t *response) {
  static_cast<void>(response);
  the_shell.blocks_when_answered = live_blocks();
  return call("cmd_rsp_send").returns(0);
}

int cmd_rsp_send_ok(cmd_rx_handle_t *handle) {
  the_shell.blocks_when_answered = live_blocks();
  return call("cmd_rsp_send_ok", shown_handle(handle)).returns(0);
}

int cmd_rsp_send_nok(cmd_rx_handle_t *handle, uint32_t flags, const char *format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (handle == nullptr && !std::exchange(the_shell.awaits_handle, false))
    ADD_FAILURE() << "the daemon refuses without a handle, but no request waits for one";
  the_shell.blocks_when_answered = live_blocks();
  return call("cmd_rsp_send_nok", shown_handle(handle), flags, static_cast<const char *>(text)).returns(0);
}

cmd_mrange_t *cmd_mrange_create(uint32_t attribute) {
  return call("cmd_mrange_create", hex(attribute))
      .returns_pointer(&the_shell.ranges.emplace_back(cmd_mrange{attribute}));
}

int cmd_mrange_range_add(cmd_mrange_t *mrange, uint32_t lower, uint32_t upper) {
  if (mrange == nullptr) return quiet("cmd_mrange_range_add").returns(1);
  if (mrange != &the_shell.ranges.back()) ADD_FAILURE() << "a range goes to a list of another time";
  return call("cmd_mrange_range_add", lower, upper).returns(0);
}

int cmd_rsp_error_set(cmd_rx_handle_t *handle, cmd_mrange_t *mrange) {
  if (mrange != nullptr && mrange != &the_shell.ranges.back())
    ADD_FAILURE() << "a list of another time goes with the answer";
  const std::string list = mrange == nullptr ? "null" : "list for " + shown(hex(mrange->attribute));
  return call("cmd_rsp_error_set", shown_handle(handle), list).returns(0);
}

int rcgen_srv_init(qbus_queue_t queue, const rcgen_options_t *options) {
  return call("rcgen_srv_init", queue, "{tracekit_dbg_elem " + shown(options->tracekit_dbg_elem) + "}")
      .returns(0);
}

int rcgen_req_vlan_list_get(const qbus_msg_ref_t *request, vlan_bitset_t *vlans) {
  const Answer answer = quiet("rcgen_req_vlan_list_get");
  if (answer.has_result()) return answer.returns(1);
  for (const uint32_t vlan : generation_of(request).vlans) bitset_set_bit(vlans, vlan);
  return answer.returns(0);
}

rcgen_hdl_t *rcgen_hdl_init(const qbus_msg_ref_t *request) {
  note_call("rcgen_hdl_init");
  ++the_shell.unanswered_generations;
  return &the_shell.handles.emplace_back(rcgen_hdl{message_of(request).token});
}

int rcgen_elem_add(rcgen_hdl_t *handle, uint32_t uuid, uint32_t element, uint32_t kind) {
  expect_in_the_making(handle);
  return call("rcgen_elem_add", uuid, element, kind).returns(0);
}

int rcgen_elem_property_set(rcgen_hdl_t *handle, uint32_t element, uint32_t property) {
  expect_in_the_making(handle);
  return call("rcgen_elem_property_set", element, property).returns(0);
}

int rcgen_elem_dependency_add(rcgen_hdl_t *handle, uint32_t element, uint32_t uuid, uint32_t other_element) {
  expect_in_the_making(handle);
  return call("rcgen_elem_dependency_add", element, uuid, other_element).returns(0);
}

int rcgen_cfg_type_get(const qbus_msg_ref_t *request) {
  return quiet("rcgen_cfg_type_get").returns(generation_of(request).configuration);
}

int rcgen_cfg_display_type_get(const qbus_msg_ref_t *request) {
  return quiet("rcgen_cfg_display_type_get").returns(generation_of(request).display);
}

const char *rcgen_startup_cfg_uri_prefix_get(const qbus_msg_ref_t *request) {
  static_cast<void>(request);
  return quiet("rcgen_startup_cfg_uri_prefix_get").returns_pointer("startup:");
}

int rcgen_elem_vlan_key_str_add_indent(rcgen_hdl_t *handle, uint32_t element, vlan_id_t vlan,
                                       const char *text, uint32_t indent) {
  expect_in_the_making(handle);
  return call("rcgen_elem_vlan_key_str_add_indent", element, vlan, text, indent).returns(0);
}

int rcgen_set_response_status(rcgen_hdl_t *handle, rcode_t status, const char *text) {
  expect_in_the_making(handle);
  return call("rcgen_set_response_status", hex(status), text).returns(0);
}

int rcgen_respond(rcgen_hdl_t *handle, qbus_queue_t queue, qbus_msg_ref_t *request) {
  expect_in_the_making(handle);
  --the_shell.unanswered_generations;
  the_shell.blocks_when_answered = live_blocks();
  return call("rcgen_respond", queue, "message " + shown(hex(qbus_opc_get(request)))).returns(0);
}
