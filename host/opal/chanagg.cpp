#include "opal/chanagg.h"

#include "host/opal/ask.h"

using namespace opal;

rcode_t chanagg_get_pc_info(if_index_t port_channel, chanagg_pc_info_t *info) {
  const bus::Interface asked{port_channel};
  bus::PortChannelInfo told{};
  const rcode_t rcode =
      ask(bus::address::chanagg, bus::opcode::port_channel_info, bus::bytes_of(asked), told);
  if (rcode != RCODE_SUCCESS) return rcode;
  if (told.info.member_count > CHANAGG_MEMBERS) return RCODE_CORRUPT;
  *info = told.info;
  return RCODE_SUCCESS;
}
