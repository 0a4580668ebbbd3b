#include "bench/relay/frames.h"

#include <cstring>

#include "opal/kestrix_th_fh_hdr.h"

namespace bench {
namespace {

constexpr std::array<std::uint8_t, 2> experimental_type{0x88, 0xb5};

template <class Record>
Bytes bytes_of(const Record &record) {
  Bytes bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

}  // namespace

Mac station(std::uint32_t number) {
  return {0x02,
          0,
          static_cast<std::uint8_t>(1 + (number >> 24)),
          static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

Bytes tagged_frame(std::uint16_t vlan, std::size_t bytes) {
  const std::array<std::uint8_t, 4> tag{0x81, 0x00, static_cast<std::uint8_t>(vlan >> 8),
                                        static_cast<std::uint8_t>(vlan)};
  Bytes frame(bytes);
  std::memcpy(frame.data() + 12, tag.data(), tag.size());
  std::memcpy(frame.data() + 16, experimental_type.data(), experimental_type.size());
  return frame;
}

Bytes untagged_frame(std::size_t bytes) {
  Bytes frame(bytes);
  std::memcpy(frame.data() + 12, experimental_type.data(), experimental_type.size());
  return frame;
}

void set_destination(std::span<std::byte> frame, const Mac &mac) {
  std::memcpy(frame.data(), mac.data(), mac.size());
}

void set_source(std::span<std::byte> frame, const Mac &mac) {
  std::memcpy(frame.data() + mac.size(), mac.data(), mac.size());
}

Bytes to_host_header(std::uint8_t ingress_port, std::uint16_t vlan, bool tagged) {
  kestrix_th_hdr_t header;
  kestrix_th_clear(&header);
  kestrix_th_set_ce(&header);
  if (tagged) {
    kestrix_th_set_tagged(&header);
  }
  kestrix_th_set_ingress_plid(&header, ingress_port);
  kestrix_th_set_vlan(&header, vlan);
  return bytes_of(header);
}

Bytes from_host_header(std::uint32_t ltl, bool flood) {
  kestrix_fh_hdr_t header;
  kestrix_fh_clear(&header);
  kestrix_fh_set_ce(&header);
  kestrix_fh_set_tagged(&header);
  kestrix_fh_set_vlan(&header, sol_vlan);
  kestrix_fh_set_ltl(&header, ltl);
  if (flood) {
    kestrix_fh_set_mc(&header);
  }
  return bytes_of(header);
}

}  // namespace bench
