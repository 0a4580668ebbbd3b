#include "opal/rcgen.h"

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

using namespace opal;

namespace {

struct Line {
  std::uint16_t vlan;
  std::uint16_t indent;
  std::string text;
};

}  // namespace

struct rcgen_hdl {
  bus::Generated head{};
  std::vector<Line> lines;
};

namespace {

constexpr std::uint32_t indent_max = 16;
constexpr vlan_id_t vlan_max = 4095;

std::list<rcgen_hdl_t> &answers_in_use() {
  static std::list<rcgen_hdl_t> answers;
  return answers;
}

/// @return the request, owned by the message; null when the message is not a well-formed request
const bus::Generate *request_of(const qbus_msg_ref_t *reference) {
  const bus::Message *message = received_message(reference);
  if (message == nullptr || message->payload.size() != sizeof(bus::Generate)) return nullptr;
  const auto *request = reinterpret_cast<const bus::Generate *>(message->payload.data());
  const bool uri_ends = bus::text_of(request->startup_uri_prefix).size() < sizeof request->startup_uri_prefix;
  return uri_ends && request->vlans.size == VLAN_BITSET_BYTES ? request : nullptr;
}

bool is_element(const rcgen_hdl_t *handle, std::uint32_t element) {
  return handle != nullptr && handle->head.element == element;
}

bus::Payload encode(const rcgen_hdl_t &answer) {
  bus::GeneratedView view{answer.head, {}};
  if (answer.head.rcode == RCODE_SUCCESS)
    for (const Line &line : answer.lines) view.lines.push_back({line.vlan, line.indent, line.text});
  return bus::encode_generated(view);
}

}  // namespace

int rcgen_srv_init(qbus_queue_t queue, const rcgen_options_t *options) {
  const Queue *found = find_queue(queue);
  if (found == nullptr || options == nullptr) return static_cast<int>(RCODE_INVALID);
  const bus::Registration registration{found->address(), {}};
  return static_cast<int>(
      rcode_of(ask(bus::address::rcgen, bus::opcode::rcgen_register, bus::bytes_of(registration))));
}

int rcgen_req_vlan_list_get(const qbus_msg_ref_t *request, vlan_bitset_t *vlans) {
  const bus::Generate *asked = request_of(request);
  if (asked == nullptr || vlans == nullptr || vlans->size != VLAN_BITSET_BYTES)
    return static_cast<int>(RCODE_INVALID);
  for (std::size_t index = 0; index < VLAN_BITSET_BYTES; ++index)
    vlans->bits[index] = static_cast<uint8_t>(vlans->bits[index] | asked->vlans.bits[index]);
  return 0;
}

rcgen_hdl_t *rcgen_hdl_init(const qbus_msg_ref_t *request) {
  rcgen_hdl_t &answer = answers_in_use().emplace_back();
  if (request_of(request) == nullptr) rcgen_set_response_status(&answer, RCODE_INVALID, "malformed request");
  return &answer;
}

int rcgen_elem_add(rcgen_hdl_t *handle, uint32_t uuid, uint32_t element, uint32_t kind) {
  if (handle == nullptr) return static_cast<int>(RCODE_INVALID);
  handle->head.uuid = uuid;
  handle->head.element = element;
  handle->head.kind = kind;
  return 0;
}

int rcgen_elem_property_set(rcgen_hdl_t *handle, uint32_t element, uint32_t property) {
  if (!is_element(handle, element)) return static_cast<int>(RCODE_INVALID);
  handle->head.property = property;
  return 0;
}

int rcgen_elem_dependency_add(rcgen_hdl_t *handle, uint32_t element, uint32_t uuid, uint32_t other_element) {
  if (!is_element(handle, element)) return static_cast<int>(RCODE_INVALID);
  handle->head.after_uuid = uuid;
  handle->head.after_element = other_element;
  return 0;
}

int rcgen_cfg_type_get(const qbus_msg_ref_t *request) {
  const bus::Generate *asked = request_of(request);
  return asked != nullptr ? static_cast<int>(asked->config_type) : 0;
}

int rcgen_cfg_display_type_get(const qbus_msg_ref_t *request) {
  const bus::Generate *asked = request_of(request);
  return asked != nullptr ? static_cast<int>(asked->display_type) : 0;
}

const char *rcgen_startup_cfg_uri_prefix_get(const qbus_msg_ref_t *request) {
  const bus::Generate *asked = request_of(request);
  return asked != nullptr ? asked->startup_uri_prefix : "";
}

int rcgen_elem_vlan_key_str_add_indent(rcgen_hdl_t *handle, uint32_t element, vlan_id_t vlan,
                                       const char *text, uint32_t indent) {
  const bool inside = vlan >= 0 && vlan <= vlan_max && indent <= indent_max;
  if (!is_element(handle, element) || !inside || text == nullptr) return static_cast<int>(RCODE_INVALID);
  handle->lines.push_back({static_cast<std::uint16_t>(vlan), static_cast<std::uint16_t>(indent), text});
  return 0;
}

int rcgen_set_response_status(rcgen_hdl_t *handle, rcode_t status, const char *text) {
  if (handle == nullptr) return static_cast<int>(RCODE_INVALID);
  handle->head.rcode = status;
  bus::set_text(handle->head.text, text != nullptr ? text : "");
  return 0;
}

int rcgen_respond(rcgen_hdl_t *handle, qbus_queue_t queue, qbus_msg_ref_t *request) {
  std::list<rcgen_hdl_t> &answers = answers_in_use();
  const auto found =
      std::ranges::find_if(answers, [handle](const rcgen_hdl_t &one) { return &one == handle; });
  if (found == answers.end() || find_queue(queue) == nullptr) return static_cast<int>(RCODE_INVALID);
  bus::Payload payload = encode(*found);
  if (payload.size() > bus::payload_limit) {
    rcgen_set_response_status(handle, RCODE_TOO_LARGE, "the configuration is too large for one answer");
    payload = encode(*found);
  }
  answers.erase(found);
  return reply_to(request, payload) ? 0 : static_cast<int>(RCODE_UNAVAILABLE);
}
