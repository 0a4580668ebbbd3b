/* The platform around the model: its calls, its answers, its state.
 *
 * Every operation writes the line that the recording stand-in writes for the same call, and answers as the
 * stand-in does, refusals included. So the model's calls can be compared with the daemon's. The state is the
 * stores, the port-channels, the frames that wait to be read, and the contents of the kernel device. */
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/model/event.h"
#include "tests/standin/record.h"
#include "tests/standin/text.h"

namespace model {

using Bytes = std::vector<uint8_t>;
using VlanSet = std::set<uint16_t>;

struct Channel {
  uint32_t first_operational = 0;
  std::vector<uint32_t> members = {};
};

/** A port as the kernel device knows it: its lowest 15 VLANs, and whether the port forwards in each. */
struct DevicePort {
  uint8_t type = 0;
  uint8_t asic = 0;
  std::vector<std::pair<uint16_t, bool>> vlans = {};
  bool operator==(const DevicePort &) const = default;
};

/** The two sockets, one for each side. */
enum class Side { inband, management };

class Platform {
 public:
  /** Sets what the platform refuses during the next event. */
  void begin_event(const Event &event);

  /** The calls since the last call of this function. */
  standin::Lines take_lines() { return std::exchange(lines_, {}); }

  /** Counts an allocation. @return whether it succeeds */
  bool allocates();

  template <class... Arguments>
  void say(std::string_view operation, const Arguments &...arguments) {
    std::string list;
    ((list += (list.empty() ? "" : ", ") + standin::shown(arguments)), ...);
    lines_.emplace_back(std::string(operation) + "(" + list + ")");
  }

  /** Counts a call that leaves no line. @return the refusal that applies to it, null if there is none */
  const Refusal *matching_refusal(std::string_view operation);

  /** Records a call and counts it. @return the refusal that applies to it, null if there is none */
  template <class... Arguments>
  const Refusal *ask(std::string_view operation, const Arguments &...arguments) {
    say(operation, arguments...);
    return matching_refusal(operation);
  }

  /** Records a call and counts it. @return whether it succeeds */
  template <class... Arguments>
  bool does(std::string_view operation, const Arguments &...arguments) {
    const Refusal *refusal = ask(operation, arguments...);
    return refusal == nullptr || refusal->result.value_or(0) == 0;
  }

  /* ---- port-index service, port-channels, in-band driver ---- */
  std::optional<uint8_t> asic_port_of(uint32_t interface);
  const Channel *channel_of(uint32_t interface);
  std::optional<uint32_t> request_ltl(uint16_t vlan);
  std::optional<uint32_t> release_ltl(uint16_t vlan);

  /* ---- messages ---- */
  void drop_request(uint32_t token);
  bool send_feature(bool is_set, const std::vector<int32_t> &vlans);

  /* ---- stores ---- */
  bool stores_hold(int32_t vlan);
  bool store_vlan(int32_t vlan);
  bool erase_vlan(int32_t vlan);
  std::vector<int32_t> walk(uint32_t handle, const std::vector<int32_t> &records, size_t limit);
  uint32_t save(uint32_t opcode);

  /** @return the handle; 0 on failure, with the reason in `code` */
  uint32_t open_startup(uint32_t &code);

  /* ---- the kernel device ---- */
  bool push_ports(const std::vector<std::pair<uint32_t, DevicePort>> &ports);
  bool push_vlans(const std::vector<std::pair<uint16_t, uint32_t>> &vlans);
  void delete_port(uint32_t interface);
  void delete_vlan(uint16_t vlan);
  std::optional<uint32_t> frames_counted(uint32_t interface);

  /* ---- sockets ---- */
  std::optional<int> open_socket();
  std::optional<Bytes> read(int descriptor, size_t size, Side side);

  /** @return the result of the write, cut to 16 bits */
  uint16_t write(int descriptor, const Bytes &bytes);

  std::map<uint32_t, Channel> channels;
  std::vector<int32_t> running_store;
  std::optional<std::vector<int32_t>> startup_store;
  std::map<uint32_t, DevicePort> device_ports;
  std::map<uint16_t, uint32_t> device_vlans;
  std::set<uint32_t> undelivered_ports; /**< ports whose last push the device refused */
  std::set<uint16_t> undelivered_vlans;
  std::map<uint32_t, uint32_t> device_counts;
  std::array<std::deque<Bytes>, 2> waiting;
  std::map<int, std::vector<Bytes>> written; /**< since the start of the event, by descriptor */

 private:
  std::optional<uint32_t> ltl_request(const Refusal *refusal);

  standin::Lines lines_;
  std::optional<Refusal> refusal_;
  unsigned calls_ = 0;
  unsigned allocations_left_ = 0;
  uint32_t next_token_ = 1000;
  uint32_t stores_opened_ = 1;
  int next_socket_ = 41;
};

constexpr int queue_handle = 30;
constexpr int device_handle = 31;
constexpr uint32_t running_handle = 1;

}  // namespace model
