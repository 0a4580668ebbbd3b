/* The model: the daemon once more, written to be read.
 *
 * It gets the same events as the daemon and calls its own platform. It was written from what the daemon must
 * do, not from how the daemon does it, and shares no line with it. Where the two disagree, one of them is
 * wrong. It has no tracing, no memory management, and no defence against a broken caller.
 *
 *   model.cpp     one pass of the loop, and message dispatch
 *   kernel.cpp    dirty marks, pushes, synchronisation
 *   ports.cpp     port contexts, the port map, state and CBL notices
 *   vlans.cpp     the VLAN table, CIN VLANs, activation, answers and notices
 *   commands.cpp  the shell's commands, configuration requests, running configuration
 *   relay.cpp     sockets and frames */
#pragma once

#include <functional>

#include "tests/model/platform.h"
#include "tests/model/state.h"

namespace model {

class Model {
 public:
  /** A daemon that has just started, on board 82 or 83, with CIN VLANs in its running store. */
  Model(uint16_t board, const std::vector<int32_t> &stored_vlans);

  void play(const Event &event);

  const State &state() const { return state_; }
  Platform &platform() { return platform_; }

  /** Descriptors that were readable in the last event; empty if the loop made no pass. */
  const std::vector<int> &woken() const { return woken_; }
  bool made_a_pass() const { return made_a_pass_; }

  /** Number of heap blocks that the daemon must hold. */
  size_t blocks() const;

  /** Token of a VLAN's latest request. */
  uint32_t token_of(uint16_t vlan) const;

 private:
  /* the loop */
  void pass(bool message_waits, const std::function<void()> &serve_message);
  void message(uint32_t opcode, const std::function<void()> &handler);
  void begin_message(uint32_t opcode);
  void end_message(uint32_t opcode);
  std::vector<int> watched() const;
  std::vector<int> readable(bool message_waits) const;
  std::string shown_select() const;

  /* what happens */
  void happens(const LineCardOnline &);
  void happens(const PortState &notice);
  void happens(const CblChange &notice);
  void happens(const VlansDeleted &notice);
  void happens(const LtlAnswer &answer);
  void happens(const CinCommand &command);
  void happens(const ShowCin &);
  void happens(const ShowCounters &command);
  void happens(const UnknownCommand &);
  void happens(const DebugRequest &request);
  void happens(const EnableRequest &request);
  void happens(const Generation &request);
  void happens(const FeatureAnswer &answer);
  void happens(const BareMessage &message);
  void happens(const SupervisorMessage &message);
  void happens(const TraceMessage &);
  void happens(const EmptyQueue &);
  void happens(const Save &);
  void happens(const ChannelBecomes &channel);
  void happens(const DeviceCounts &counts);
  void happens(const FramesArrive &arrival);
  void happens(const StationsAppear &stations);

  /* the kernel device */
  void mark(Port &port);
  void mark(Vlan &vlan);
  bool push(const std::vector<Port *> &ports);
  bool push(const std::vector<Vlan *> &vlans);
  bool synchronise_ports();
  void synchronise();

  /* ports */
  PortEntry *entry_of(uint32_t interface);
  Port *port_of(uint32_t interface);
  std::optional<uint8_t> asic_port_of(uint32_t interface);
  bool is_downlink(uint32_t interface);
  Port *create_port(uint32_t interface);
  void map_port(Port &port);
  void unmap_port(const Port &port);
  void delete_port(uint32_t interface);
  void apply_vlans(Port &port, const PortReport &report);
  void join(Port &port, uint16_t number);
  void leave(Port &port, uint16_t number);
  void port_reported(const PortReport &report);
  void cbl_reported(const CblReport &report);

  /* VLANs */
  Vlan *vlan_of(int64_t number);
  bool insert_vlan(uint16_t number);
  void use_stored_vlans();
  void accept(uint16_t number);
  void refuse(uint16_t number);
  bool activate(Vlan &vlan);
  bool deactivate(Vlan &vlan);
  bool add_cin_vlan(int64_t number);
  bool bring_up_members(Vlan &vlan);
  bool delete_cin_vlan(int64_t number);
  bool remove_vlan(Vlan &vlan);

  /* commands */
  void command(const std::function<void()> &serve);
  void configure(const CinCommand &command);
  void answer_partly(const CinCommand &command, const VlanSet &failed);
  bool start_response(uint32_t command_id);
  void show_counters_of(uint32_t interface);
  void acknowledge(uint32_t opcode);
  bool list_vlans(uint32_t handle, const std::vector<int32_t> &records, std::vector<int32_t> &list);
  void generate(const Generation &request);

  /* the relay */
  void start_relay();
  std::optional<int> open_device(const char *name, int interface, std::optional<int> other);
  void drain_inband();
  void drain_management();
  void to_asic(uint16_t number, const Bytes &frame);
  void to_management(const Bytes &frame);

  State state_;
  Platform platform_;
  bool is_vorlund_;
  std::vector<int> woken_;
  bool made_a_pass_ = false;
};

}  // namespace model
