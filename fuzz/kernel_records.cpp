// Records that a program passes to the kernel module's device.
//
// An input is a sequence of requests: one byte for the kind, then the record.
#include "host/chassis/kernel_module/klm_records.h"

#include "fuzz/fuzz.h"

namespace {

constexpr unsigned requests[] = {TESKK_ADD_OR_UPDATE_PORTS, TESKK_DEL_PORT, TESKK_ADD_OR_UPDATE_VLANS,
                                 TESKK_DEL_VLAN, 0};

template <typename Record>
fuzz::Input request(std::uint8_t number, const Record &record) {
  return fuzz::chosen(number, std::as_bytes(std::span(&record, 1)));
}

bool is_known(chassis::IfIndex index) { return index.value >= 0x1a000000 && index.value < 0x1a000014; }

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  teskk_port_list_t ports{};
  ports.port_cnt = 1;
  ports.port_lst[0].if_idx = 0x1a000002;
  ports.port_lst[0].kestrix_port = 2;
  ports.port_lst[0].vlan_cnt = 1;
  ports.port_lst[0].vlan_lst[0] = {4095, 1};
  teskk_vlan_list_t vlans{};
  vlans.vlan_cnt = 1;
  vlans.vlan_lst[0] = {100, 5};
  return {request(0, ports), request(1, std::uint32_t{0x1a000002}), request(2, vlans),
          request(3, std::uint16_t{100})};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static constexpr std::size_t sizes[] = {sizeof(teskk_port_list_t), 4, sizeof(teskk_vlan_list_t), 2, 4};
  chassis::KlmRecords records(is_known);
  fuzz::Parts parts(data, size);
  while (!parts.at_end()) {
    const auto number = parts.number<std::uint8_t>() % std::size(requests);
    const fuzz::Input record = parts.bytes(sizes[number]);
    (void)records.write(requests[number], std::as_bytes(std::span(record)));
    for (const auto &[index, port] : records.mirror().ports) {
      fuzz::must(is_known(index), "the mirror holds ports of the chassis");
      fuzz::must(port.vlan_cnt <= TESKK_PORT_VLANS, "a port has room for its VLANs");
    }
    for (const auto &[vlan, info] : records.mirror().vlans)
      fuzz::must(vlan.value < 4096 && info.vlan == vlan.value, "the mirror holds VLANs");
  }
  return 0;
}
