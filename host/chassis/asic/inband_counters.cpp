#include "host/chassis/asic/inband_counters.h"

#include <cstring>

#include "host/chassis/asic/ethernet.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace chassis {
namespace {

bool holds_frame(FrameView header_and_frame) { return header_and_frame.size() > asic_header_bytes; }

}  // namespace

void InbandCounters::to_daemon(FrameView header_and_frame) {
  if (!holds_frame(header_and_frame)) return;
  kestrix_th_hdr_t header;
  std::memcpy(&header, header_and_frame.data(), sizeof header);
  const std::uint8_t ingress = kestrix_th_ingress_plid(&header);
  if (ingress < asic_ports) count_frame(ports_[ingress].rx, header_and_frame.subspan(asic_header_bytes));
}

void InbandCounters::from_daemon(FrameView header_and_frame) {
  if (!holds_frame(header_and_frame)) return;
  kestrix_fh_hdr_t header;
  std::memcpy(&header, header_and_frame.data(), sizeof header);
  const std::uint32_t ltl = kestrix_fh_ltl(&header);
  for (std::size_t port = 0; port < ports_.size(); ++port)
    if ((ltl >> port & 1) != 0) count_frame(ports_[port].tx, header_and_frame.subspan(asic_header_bytes));
}

void InbandCounters::management_to_daemon(FrameView frame) {
  if (!frame.empty()) count_frame(management_.rx, frame);
}

void InbandCounters::management_from_daemon(FrameView frame) {
  if (!frame.empty()) count_frame(management_.tx, frame);
}

}  // namespace chassis
