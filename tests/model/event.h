/* What happens to the daemon, as data.
 *
 * A sequence is a board, the CIN VLANs (chassis internal network) of its running store, and events. An event
 * is valid in every state, so a sequence stays valid when events are removed: that is how a failing sequence
 * is shrunk. What depends on the state is named relative to it ("the latest request for VLAN 100") and looked
 * up when the event is played.
 *
 * Each event can make one operation of the platform refuse and one allocation fail. A sequence prints as C++
 * (event_text.cpp), ready to paste into a test. */
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace model {

using Vlans = std::vector<uint16_t>;
using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

/** The line card's ports can be used. */
struct LineCardOnline {};

/** One port's part of a state notice. */
struct PortReport {
  uint32_t interface;
  uint8_t link = 1;
  Vlans up = {};
  Vlans down = {};
};
struct PortState {
  std::vector<PortReport> ports;
};

/** One port's part of a CBL notice. */
struct CblReport {
  uint32_t interface;
  Vlans forwarding;
};
struct CblChange {
  std::vector<CblReport> ports;
};

/** The VLAN manager deleted VLANs. */
struct VlansDeleted {
  std::vector<int32_t> vlans;
};

/** The port-index service answers the latest request for a VLAN, or with another token as `age` says. */
struct LtlAnswer {
  uint16_t vlan;
  uint32_t age = 0; /**< tokens before the latest one: 0 is right, all others are stale or unknown */
  bool is_allocation = true;
  bool is_response = true;
};

/** The command `vlan … cin`, or its "no" form. */
struct CinCommand {
  Ranges vlans;
  bool is_no_form = false;
  bool has_list = true;
};
struct ShowCin {};
struct ShowCounters {
  Ranges interfaces = {}; /**< empty for all */
};
struct UnknownCommand {
  uint32_t id;
};

/** A message of the configuration interface: a header of 112 bytes, then the body. */
struct DebugRequest {
  int32_t kind = 3;
  uint32_t data_size = 2;
  std::vector<uint8_t> body = {0, 1};
};
struct EnableRequest {
  int32_t kind = 3;
  uint32_t data_size = 4;
  uint32_t state = 1;
};

/** The running-configuration service asks for lines. */
struct Generation {
  int configuration = 1;
  int display = 0;
  Vlans vlans = {};
};

/** The VLAN manager answers a feature message. */
struct FeatureAnswer {
  bool is_create;
};

/** A message that no handler knows, or a known message without its payload. */
struct BareMessage {
  uint32_t opcode;
  uint32_t payload_bytes = 0;
};

/** A message that the supervisor's library handles (1), wants dropped (0), or fails on (others). */
struct SupervisorMessage {
  int verdict;
};

/** A message of the trace facility. */
struct TraceMessage {};

/** The queue is readable and empty. */
struct EmptyQueue {};

/** The supervisor requests that the configuration is saved. */
struct Save {};

/** A port-channel has these members now; the daemon gets no notice of it. */
struct ChannelBecomes {
  uint32_t channel;
  uint32_t first_operational = 0;
  std::vector<uint32_t> members = {};
};

/** The kernel module has counted frames. */
struct DeviceCounts {
  uint32_t interface;
  uint32_t frames;
};

/** A station's number stands for its address: the upper four bits choose an address pattern, the others count
 * within it. Addresses of the first pattern are 02:00:00:00, then the number in two bytes. Two numbers are
 * group addresses. */
constexpr uint16_t stations_of_a_pattern = 0x1000;
constexpr uint16_t broadcast_station = 0xffff;
constexpr uint16_t group_station = 0xfffe;

/** A frame that reaches the daemon. In-band frames have a to-host header in front. */
struct Frame {
  bool is_inband = false;
  uint16_t vlan = 4095;
  uint16_t destination = broadcast_station;
  uint16_t source = 1;
  uint16_t size = 60; /**< of the Ethernet frame */
  bool is_tagged = true;
  uint8_t ingress = 0; /**< ASIC port of an in-band frame */
  bool has_ce = true;
  bool says_tagged = true;
};
struct FramesArrive {
  std::vector<Frame> frames;
};

/** Many stations each send a first frame, all from one port. */
struct StationsAppear {
  uint8_t ingress;
  uint16_t first;
  uint16_t count;
  uint16_t vlan = 4095;
};

using Happening = std::variant<LineCardOnline, PortState, CblChange, VlansDeleted, LtlAnswer, CinCommand,
                               ShowCin, ShowCounters, UnknownCommand, DebugRequest, EnableRequest, Generation,
                               FeatureAnswer, BareMessage, SupervisorMessage, TraceMessage, EmptyQueue, Save,
                               ChannelBecomes, DeviceCounts, FramesArrive, StationsAppear>;

/** One call of the platform during an event answers with a failure. */
struct Refusal {
  std::string operation;
  unsigned call = 1; /**< counted from the start of the event */
  std::optional<int64_t> result = {};
  std::optional<int64_t> output = {};
};

struct Event {
  Happening happening;
  std::optional<Refusal> refusal = {};
  unsigned failing_allocation = 0; /**< counted from 1; 0 for none */
};

struct Sequence {
  uint16_t board = 82;
  std::vector<int32_t> stored_vlans = {};
  std::vector<Event> events;
};

/** Name of a happening, for statistics. */
const char *name_of(const Happening &happening);

/** Prints the sequence as a test in C++. */
std::ostream &operator<<(std::ostream &stream, const Sequence &sequence);

}  // namespace model
