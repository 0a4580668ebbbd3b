#include "opal/chanagg.h"

#include "host/opal/ask.h"

using namespace opal;

rcode_t chanagg_get_pc_info(if_index_t port_channel, chanagg_pc_info_t *info) {
  const bus::Interface asked{port_channel};
  const auto told =
      ask<bus::PortChannelInfo>(bus::address::chanagg, bus::opcode::port_channel_info, bus::bytes_of(asked));
  if (!told) return rcode_of(told);
  if (told->info.member_count > CHANAGG_MEMBERS) return RCODE_CORRUPT;
  *info = told->info;
  return RCODE_SUCCESS;
}
