#include "opal/vlan_mgr.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

using namespace opal;

namespace {

/// @return a heap copy that the program frees with free(), never empty; null when out of memory
void *heap_copy(bus::Bytes bytes) {
  void *copy = std::malloc(std::max<std::size_t>(bytes.size(), 1));
  if (copy != nullptr && !bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
  return copy;
}

int build_feature_payload(std::uint32_t count, const vlan_id_t *vlans, std::uint32_t feature, void **payload,
                          std::uint32_t *length) {
  *payload = nullptr;
  *length = 0;
  if (vlans == nullptr && count != 0) return EINVAL;
  if (count > (bus::payload_limit - sizeof(bus::FeatureVlans)) / sizeof(vlan_id_t)) return EMSGSIZE;
  const bus::Payload bytes = bus::encode_feature_vlans({feature, {vlans, vlans + count}});
  *payload = heap_copy(bytes);
  if (*payload == nullptr) return ENOMEM;
  *length = static_cast<std::uint32_t>(bytes.size());
  return 0;
}

}  // namespace

rcode_t vlan_mgr_parse_notification_msg_local(const qbus_msg_ref_t *message,
                                              vlan_delete_notif_local_t **records, uint32_t *count) {
  *records = nullptr;
  *count = 0;
  const bus::Message *notice = received_message(message);
  if (notice == nullptr) return RCODE_INVALID;
  const auto deleted = bus::decode_vlans_deleted(notice->payload);
  if (!deleted) return RCODE_CORRUPT;
  *records = static_cast<vlan_delete_notif_local_t *>(heap_copy(std::as_bytes(std::span(*deleted))));
  if (*records == nullptr) return RCODE_NO_MEMORY;
  *count = static_cast<uint32_t>(deleted->size());
  return RCODE_SUCCESS;
}

// Both payloads are the same; the opcode says whether the feature is set or unset.
int vlan_feat_create_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length) {
  return build_feature_payload(count, vlans, feature, payload, length);
}

int vlan_feat_delete_build_qbus_local(uint32_t count, const vlan_id_t *vlans, uint32_t feature,
                                      void **payload, uint32_t *length) {
  return build_feature_payload(count, vlans, feature, payload, length);
}

int vlan_mgr_check_feat(uint32_t vdc, vlan_id_t vlan, const vlan_feat_map_t *features) {
  const bus::CheckFeature asked{vdc, vlan, *features};
  return ask(bus::address::vlan_mgr, bus::opcode::check_feature, bus::bytes_of(asked)) ? 1 : 0;
}
