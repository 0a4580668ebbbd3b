#include "opal/portsvc.h"

#include <cstdlib>
#include <cstring>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

using namespace opal;

int portsvc_ext_sbcr_init(uint32_t instance, uint32_t flags, const char *name) {
  bus::Name record{};
  if (instance != 0 || flags != 0 || name == nullptr || std::strlen(name) >= sizeof record.text)
    return static_cast<int>(RCODE_INVALID);
  bus::set_text(record.text, name);
  return static_cast<int>(
      rcode_of(ask(bus::address::portsvc, bus::opcode::portsvc_register, bus::bytes_of(record))));
}

rcode_t portsvc_parse_l2_protocol_state_change(const qbus_msg_ref_t *message, uint32_t *size,
                                               portsvc_l2_state_change_t **payload) {
  *size = 0;
  *payload = nullptr;
  const bus::Message *notice = received_message(message);
  if (notice == nullptr) return RCODE_INVALID;
  if (notice->payload.empty()) return RCODE_SUCCESS;
  if (!bus::decode_l2_state_change(notice->payload)) return RCODE_CORRUPT;
  void *copy = std::malloc(notice->payload.size());
  if (copy == nullptr) return RCODE_NO_MEMORY;
  std::memcpy(copy, notice->payload.data(), notice->payload.size());
  *size = static_cast<uint32_t>(notice->payload.size());
  *payload = static_cast<portsvc_l2_state_change_t *>(copy);
  return RCODE_SUCCESS;
}

int portsvc_is_ifindex_present(if_index_t if_index, portsvc_if_info_t *info) {
  const bus::Interface asked{if_index};
  const auto told =
      ask<bus::InterfacePresent>(bus::address::portsvc, bus::opcode::portsvc_present, bus::bytes_of(asked));
  if (!told || told->present == 0) return 0;
  *info = {.iod = told->ordinal, .link_state = static_cast<uint8_t>(told->link_state)};
  return 1;
}
