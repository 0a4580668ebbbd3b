#include "host/chassis/run/module_counters.h"

#include "host/chassis/model/board_ports.h"

namespace chassis {
namespace {

void copy_counters(const InbandCounters::Port &from, teskk_port_counters_t &to) {
  to.tx_ucast = static_cast<std::uint32_t>(from.tx.ucast);
  to.tx_mcast = static_cast<std::uint32_t>(from.tx.mcast);
  to.rx_ucast = static_cast<std::uint32_t>(from.rx.ucast);
  to.rx_mcast = static_cast<std::uint32_t>(from.rx.mcast);
}

const InbandCounters::Port *counters_of(Board board, const InbandCounters &counted, const KlmMirror &mirror,
                                        IfIndex index) {
  if (index == management_if_index(board)) return &counted.management();
  if (const auto front = front_port_of(index)) return &counted.port(*asic_port(board, *front));
  const auto channel = mirror.ports.find(index);
  return channel == mirror.ports.end() ? nullptr : &counted.port({channel->second.kestrix_port});
}

}  // namespace

bool fill_module_counters(Board board, const InbandCounters &counted, const KlmMirror &mirror, IfIndex index,
                          teskk_port_counters_t &counters) {
  const auto *port = counters_of(board, counted, mirror, index);
  if (port != nullptr) copy_counters(*port, counters);
  return port != nullptr;
}

}  // namespace chassis
