#include "tests/agreement/tables.h"

#include <algorithm>
#include <sstream>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"
#include "tests/standin/memory.h"
#include "tests/standin/module.h"
#include "tests/standin/store.h"

namespace model {

namespace {

std::string shown(const VlanSet &set) {
  std::string text;
  for (const uint16_t vlan : set) text += (text.empty() ? "" : " ") + std::to_string(vlan);
  return "{" + text + "}";
}

VlanSet set_of(const vlan_bitset_t &bits) {
  VlanSet set;
  for (int32_t vlan = bitset_first_bit(&bits); vlan >= 0; vlan = bitset_next_bit(&bits, vlan))
    set.insert(set.end(), static_cast<uint16_t>(vlan));
  return set;
}

class Comparison {
 public:
  explicit Comparison(Model &model) : model_(model), state_(model.state()) {}

  std::string run() {
    check_scalars();
    check_ports();
    check_port(amm_mgmt_port, state_.management, "the management side");
    check_port_map();
    check_vlans();
    check_learnt();
    check_device();
    check_stores();
    return found_.str();
  }

 private:
  template <class Value>
  void same(const std::string &what, const Value &daemon, const Value &model) {
    if (daemon != model) found_ << what << ": daemon " << daemon << ", model " << model << '\n';
  }

  void same(const std::string &what, const vlan_bitset_t &daemon, const VlanSet &model) {
    auto expected = model.begin();
    int32_t vlan = bitset_first_bit(&daemon);
    for (; vlan >= 0 && expected != model.end() && *expected == vlan; ++expected)
      vlan = bitset_next_bit(&daemon, vlan);
    if (vlan >= 0 || expected != model.end()) same(what, shown(set_of(daemon)), shown(model));
  }

  void check_scalars() {
    same<int>("CIN VLANs", cin_vlan_count, state_.cin_count);
    same("count of dirty ports", dirty_port_count, state_.dirty_ports);
    same("count of dirty VLANs", dirty_vlan_count, state_.dirty_vlans);
    same("relay up", tesk_l2_init_done != 0, state_.relay_is_up);
    same("relay disabled", tesk_l2switch_disable != 0, state_.relay_is_disabled);
    same("packet traces", tesk_dbg_pkt != 0, state_.debug_packets);
    same("control traces", tesk_dbg_ctrl != 0, state_.debug_control);
    check_heap();
  }

  /** Checks the number of live blocks. An index of many addresses is one block more. */
  void check_heap() {
    const bool may_have_index = state_.learnt.size() > 256;
    const size_t extra = standin::live_blocks() - model_.blocks();
    if (extra != 0 && !(may_have_index && extra == 1))
      same("heap blocks", standin::live_blocks(), model_.blocks());
  }

  void check_counts(const std::string &what, const tesk_port_stats_t &daemon, const Counts &model) {
    same(what + ", unicast", daemon.ucast, model.unicast);
    same(what + ", group", daemon.mcast, model.group);
  }

  void check_port(const tesk_port_t &daemon, const Port &model, const std::string &name) {
    same(name + ", interface", daemon.if_idx, model.interface);
    same(name + ", ordinal", daemon.iod, model.ordinal);
    same<int>(name + ", type", daemon.if_type, model.type);
    same<int>(name + ", ASIC port", daemon.kestrix_port, model.asic);
    same(name + ", dirty", daemon.is_dirty != 0, model.is_dirty);
    same(name + ", carried VLANs", daemon.vlan_bmp, model.carried);
    same(name + ", reported VLANs", daemon.shadow_vlan_bmp, model.reported);
    same(name + ", forwarding VLANs", daemon.vlan_cbl_bmp, model.forwarding);
    check_counts(name + ", sent", daemon.tx_stats, model.sent);
    check_counts(name + ", received", daemon.rx_stats, model.received);
    same(name + ", members",
         std::string(daemon.pc_member_list, daemon.pc_member_list + daemon.pc_member_count),
         std::string(model.channel_members.begin(), model.channel_members.end()));
  }

  static const tesk_port_t *context_of(uint32_t interface) {
    for (const ifindex_hash_entry_t *entry : ifidx_bucket) {
      for (; entry != nullptr; entry = entry->next)
        if (entry->if_index == interface) return static_cast<const tesk_port_t *>(entry->param);
    }
    return nullptr;
  }

  void check_ports() {
    for (size_t bucket = 0; bucket < state_.ports.size(); ++bucket) {
      const ifindex_hash_entry_t *entry = ifidx_bucket[bucket];
      for (const PortEntry &model : state_.ports[bucket]) {
        const std::string name = "port " + standin::shown(standin::hex(model.interface));
        if (entry == nullptr || entry->if_index != model.interface) {
          found_ << name << " is not where it should be in bucket " << bucket << '\n';
          return;
        }
        const auto *context = static_cast<const tesk_port_t *>(entry->param);
        same(name + " has a context", context != nullptr, model.port.has_value());
        if (context != nullptr && model.port) check_port(*context, *model.port, name);
        entry = entry->next;
      }
      same("further ports in bucket " + std::to_string(bucket), entry != nullptr, false);
    }
  }

  void check_port_map() {
    for (size_t asic = 0; asic < state_.port_map.size(); ++asic) {
      const auto &slot = state_.port_map[asic];
      same<const void *>("port map, ASIC port " + std::to_string(asic), kes_port_map[asic],
                         slot ? context_of(*slot) : nullptr);
    }
  }

  void check_vlans() {
    for (size_t bucket = 0; bucket < state_.vlans.size(); ++bucket) {
      const vlan_hash_entry_t *entry = vlan_bucket[bucket];
      for (const Vlan &model : state_.vlans[bucket]) {
        const std::string name = "VLAN " + std::to_string(model.number);
        if (entry == nullptr || entry->vlan != model.number) {
          found_ << name << " is not where it should be in bucket " << bucket << '\n';
          return;
        }
        same(name + ", members", entry->ltl, model.members);
        same(name + ", forwarders", entry->cbl, model.forwarders);
        same(name + ", token", entry->rr_token, model.token);
        same(name + ", dirty", entry->is_dirty != 0, model.is_dirty);
        entry = entry->next;
      }
      same("further VLANs in bucket " + std::to_string(bucket), entry != nullptr, false);
    }
  }

  void check_learnt() {
    size_t count = 0;
    for (const tesk_fib_entry_t *entry : fib_bucket) {
      for (; entry != nullptr; entry = entry->next, ++count) {
        Mac mac;
        std::copy_n(entry->mac_address, mac.size(), mac.begin());
        const auto found = state_.learnt.find(mac);
        same<const void *>("address ending in " + std::to_string(mac[5]), entry->tesk_port,
                           found == state_.learnt.end() ? nullptr : context_of(found->second));
      }
    }
    same("learnt addresses", count, state_.learnt.size());
    for (const auto &[mac, interface] : state_.learnt)
      same<const void *>("port that is found for the address ending in " + std::to_string(mac[5]),
                         tesk_fib_hash_lookup(mac.data(), 4095), context_of(interface));
  }

  void check_device() {
    const auto &ports = model_.platform().device_ports;
    const auto &vlans = model_.platform().device_vlans;
    same("ports in the kernel device", standin::mirror().ports.size(), ports.size());
    for (const auto &[interface, record] : standin::mirror().ports) {
      DevicePort held{record.if_type, record.kestrix_port, {}};
      for (int i = 0; i < record.vlan_cnt; ++i)
        held.vlans.emplace_back(record.vlan_lst[i].vlan, record.vlan_lst[i].cbl_fwd == 1);
      const auto found = ports.find(interface);
      if (found == ports.end() || found->second != held)
        found_ << "port " << standin::shown(standin::hex(interface)) << " differs in the kernel device\n";
    }
    same("VLANs in the kernel device are the model's", standin::mirror().vlans == vlans, true);
  }

  void check_store(const std::string &uri, const std::vector<int32_t> &vlans) {
    const auto &records = standin::store(uri).records;
    bool is_same = records.size() == vlans.size();
    for (size_t i = 0; is_same && i < vlans.size(); ++i)
      is_same = records[i].first == standin::cin_key(vlans[i]) && records[i].second.empty();
    same(uri + " holds the model's VLANs", is_same, true);
  }

  void check_stores() {
    const Platform &platform = model_.platform();
    check_store(standin::running_store, platform.running_store);
    same("there is a startup store", standin::store_exists(standin::startup_store),
         platform.startup_store.has_value());
    if (platform.startup_store) check_store(standin::startup_store, *platform.startup_store);
  }

  Model &model_;
  const State &state_;
  std::ostringstream found_;
};

}  // namespace

std::string differences(Model &model) { return Comparison(model).run(); }

}  // namespace model
