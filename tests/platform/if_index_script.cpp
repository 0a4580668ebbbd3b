/* The interface-index library answers for real; a test can make one of its look-ups fail. */
#include "opal/if_index.h"
#include "tests/platform/script.h"

extern "C" {
rcode_t __real_if_index_get_type(if_index_t if_index, if_index_type_t *type);
rcode_t __real_if_index_get_port(if_index_t if_index, uint32_t *port);
rcode_t __real_if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel);
rcode_t __real_if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port,
                                          uint32_t sub_port);
rcode_t __real_if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port);

rcode_t __wrap_if_index_get_type(if_index_t if_index, if_index_type_t *type);
rcode_t __wrap_if_index_get_port(if_index_t if_index, uint32_t *port);
rcode_t __wrap_if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel);
rcode_t __wrap_if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port,
                                          uint32_t sub_port);
rcode_t __wrap_if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port);
}

using standin::Answer;
using standin::quiet;

rcode_t __wrap_if_index_get_type(if_index_t if_index, if_index_type_t *type) {
  const Answer answer = quiet("if_index_get_type");
  return answer.has_result() ? answer.returns<rcode_t>(RCODE_INVALID)
                             : __real_if_index_get_type(if_index, type);
}

rcode_t __wrap_if_index_get_port(if_index_t if_index, uint32_t *port) {
  const Answer answer = quiet("if_index_get_port");
  return answer.has_result() ? answer.returns<rcode_t>(RCODE_INVALID)
                             : __real_if_index_get_port(if_index, port);
}

rcode_t __wrap_if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel) {
  const Answer answer = quiet("if_index_port_channel_get_channel_num");
  return answer.has_result() ? answer.returns<rcode_t>(RCODE_INVALID)
                             : __real_if_index_port_channel_get_channel_num(if_index, channel);
}

rcode_t __wrap_if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port,
                                          uint32_t sub_port) {
  const Answer answer = quiet("if_index_phy_ethernet_init");
  return answer.has_result() ? answer.returns<rcode_t>(RCODE_INVALID)
                             : __real_if_index_phy_ethernet_init(if_index, slot, port, sub_port);
}

rcode_t __wrap_if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port) {
  const Answer answer = quiet("if_index_mgmt_sup_port_init");
  return answer.has_result() ? answer.returns<rcode_t>(RCODE_INVALID)
                             : __real_if_index_mgmt_sup_port_init(if_index, slot, port);
}
