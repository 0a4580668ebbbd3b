// The services' addresses, opcodes and payload records, shared by the platform library that the daemon
// links (host/opal), the chassis that serves them (host/chassis) and the shell (host/shell).
//
// Records are in host byte order, naturally aligned, and their sizes are asserted. Every response begins
// with a result code (include/opal/rcode.h). A receiver checks the payload's size before it looks at it.
//
// A program makes its synchronous calls on a socket of its own, so that the answers do not mix with the
// messages that wait in its queue. A request that registers a queue therefore names the queue in its
// payload; the source in its header only says where the answer goes.
#pragma once

#include <cstdint>

#include "host/bus/message.h"
#include "opal/bitset.h"
#include "opal/chanagg.h"
#include "opal/cush.h"
#include "opal/ltlsvc.h"
#include "opal/ncfg.h"
#include "opal/portsvc.h"
#include "opal/rcgen.h"
#include "opal/vlan_mgr.h"

namespace opal::bus {

/// Longest wait of a synchronous library call, in milliseconds.
inline constexpr int call_timeout_ms = 500;

namespace address {
inline constexpr Address tesk{0, 721};
inline constexpr Address broker{0, 1};    ///< subscriptions
inline constexpr Address overseer{0, 2};  ///< supervisor
inline constexpr Address board{0, 3};
inline constexpr Address portsvc{0, 4};
inline constexpr Address ltlsvc{0, 5};
inline constexpr Address chanagg{0, 6};
inline constexpr Address kinb{0, 7};
inline constexpr Address capreg{0, 8};
inline constexpr Address cush{0, 9};      ///< registry of parse trees and command back ends
inline constexpr Address rcgen{0, 10};    ///< renders running and startup configuration
inline constexpr Address control{0, 11};  ///< `chassis status`, `chassis event`
inline constexpr Address vlan_mgr{QBUS_NODE_VLAN_MGR, QBUS_SAP_VLAN_MGR};
}  // namespace address

/// Opcodes that the daemon itself serves, besides those of the platform headers.
namespace opcode {
inline constexpr std::uint32_t cush_command =
    QBUS_OPC_TESK_CUSH_TLV;  ///< request: Command; response: CommandAnswer
inline constexpr std::uint32_t rcgen_generate =
    QBUS_OPC_TESK_CFG_GEN;  ///< request: Generate; response: Generated
inline constexpr std::uint32_t ncfg_debug =
    QBUS_OPC_TESK_CFGDBG;  ///< request and response: ncfg_payload_t + body
inline constexpr std::uint32_t ncfg_enable = QBUS_OPC_TESK_CFGENA;
// Between the library and the services.
inline constexpr std::uint32_t subscribe = 0x30001;     ///< broker. Subscription -> Result
inline constexpr std::uint32_t handshake = 0x30010;     ///< overseer. Handshake -> HandshakeAnswer
inline constexpr std::uint32_t heartbeat = 0x30011;     ///< overseer. Heartbeat, a notice
inline constexpr std::uint32_t start_status = 0x30012;  ///< overseer. StartStatus -> Result
inline constexpr std::uint32_t condition = 0x30013;     ///< overseer. Condition -> Result (0: all hold)
inline constexpr std::uint32_t config_write = 0x30014;  ///< overseer asks program. ConfigWrite -> Result
inline constexpr std::uint32_t save = 0x30015;          ///< anyone asks overseer. (empty) -> Result
inline constexpr std::uint32_t barrier =
    0x30016;  ///< overseer asks program. (empty) -> Result, once everything sent before it is handled
inline constexpr std::uint32_t store_locations = 0x30017;    ///< overseer. (empty) -> StoreLocations
inline constexpr std::uint32_t board_info = 0x30020;         ///< board. (empty) -> BoardInfo
inline constexpr std::uint32_t portsvc_register = 0x30030;   ///< portsvc. Name -> Result
inline constexpr std::uint32_t portsvc_present = 0x30031;    ///< portsvc. Interface -> InterfacePresent
inline constexpr std::uint32_t ifindex_to_di = 0x30040;      ///< ltlsvc. Interface -> DestinationIndex
inline constexpr std::uint32_t port_channel_info = 0x30050;  ///< chanagg. Interface -> PortChannelInfo
inline constexpr std::uint32_t kinb_init = 0x30060;          ///< kinb. (empty) -> Result
inline constexpr std::uint32_t kinb_vlan_add = 0x30061;      ///< kinb. Vlan -> Result
inline constexpr std::uint32_t kinb_vlan_del = 0x30062;      ///< kinb. Vlan -> Result
inline constexpr std::uint32_t feature_status = 0x30070;     ///< capreg. FeatureStatus -> Result
inline constexpr std::uint32_t check_feature = 0x30080;  ///< vlan_mgr. CheckFeature -> Result (0: allowed)
inline constexpr std::uint32_t register_parse_tree = 0x30090;  ///< cush. Registration -> Result
inline constexpr std::uint32_t backend_init = 0x30091;         ///< cush. Registration -> Result
inline constexpr std::uint32_t list_parse_trees = 0x30092;     ///< cush. (empty) -> ParseTrees
inline constexpr std::uint32_t rcgen_register = 0x300A0;       ///< rcgen. Registration -> Result
inline constexpr std::uint32_t show_config = 0x300A1;          ///< rcgen. ShowConfig -> ConfigText
inline constexpr std::uint32_t trace_switch = 0x300B0;         ///< anyone asks program. TraceSwitch -> Result
inline constexpr std::uint32_t control = 0x300C0;              ///< control. JSON text -> JSON text
}  // namespace opcode

inline constexpr std::size_t uri_bytes = 256;
inline constexpr std::size_t name_bytes = 32;

struct Result {
  std::uint32_t rcode;
};
struct Name {
  char text[name_bytes];  ///< NUL-terminated
};
struct Interface {
  std::uint32_t if_index;
};
struct Vlan {
  std::int32_t vlan;
};
/// `queue` subscribes to the notices with this opcode.
struct Subscription {
  std::uint32_t opcode;
  Address queue;
};
/// `queue` serves something under this name; "" where no name is needed.
struct Registration {
  Address queue;
  char name[name_bytes];  ///< NUL-terminated
};

struct Handshake {
  std::uint32_t uuid;
  std::int32_t pid;
  Address queue;  ///< where the program receives the supervisor's requests
};
struct HandshakeAnswer {
  std::uint32_t rcode;
  std::uint32_t heartbeat_timeout_ms;
  std::uint32_t conditional_done;  ///< 1: the conditional-service handshake has been made
};
/// Base URIs of a program's stores; a program may ask before its handshake.
struct StoreLocations {
  std::uint32_t rcode;
  char running_uri[uri_bytes];  ///< "" for none
  char startup_uri[uri_bytes];
  char file_prefix[name_bytes];
};
struct Heartbeat {
  std::uint32_t uuid;
  std::uint32_t first;
};
struct StartStatus {
  std::uint32_t uuid;
  std::int32_t status;
};
struct Condition {
  std::uint32_t condition;
  std::uint32_t instance;
};
struct ConfigWrite {
  char bin_uri[uri_bytes];
  char debug_uri[uri_bytes];
};

struct BoardInfo {
  std::uint32_t rcode;
  std::uint16_t card_id;  ///< swCardId
  std::uint8_t processor, card_type, module_status, hardware;
  std::uint16_t runtime_row;  ///< row of platform_runtime_param_array
};

struct InterfacePresent {
  std::uint32_t rcode;
  std::uint32_t present;
  std::uint32_t ordinal;
  std::uint32_t link_state;  ///< PORTSVC_LINK_*
};

struct DestinationIndex {
  std::uint32_t rcode;
  std::uint32_t di;
};

struct PortChannelInfo {
  std::uint32_t rcode;
  chanagg_pc_info_t info;
};

/// Payload of QBUS_OPC_LTLSVC_ALLOC_LTL and _DEALLOC_LTL requests.
struct LtlRequest {
  std::uint32_t type;
  std::int32_t vlan;
  std::uint32_t ltl;
  std::uint32_t argument[3];
};
/// Payload of their answers.
struct LtlAnswer {
  std::uint32_t rcode;
  std::int32_t vlan;
  std::uint32_t ltl;
};

struct CheckFeature {
  std::uint32_t vdc;
  std::int32_t vlan;
  vlan_feat_map_t features;
};
/// Payload of QBUS_OPC_VLAN_FEAT_CREATE and _DELETE requests: this, then `count` 32-bit VLAN numbers.
/// Their answer is a Result.
struct FeatureVlans {
  std::uint32_t feature;
  std::uint32_t count;
};
/// Payload of QBUS_OPC_VLAN_MGR_VLANS_DELETED notices: this, then `count` vlan_delete_notif_local_t.
struct VlansDeleted {
  std::uint32_t count;
};

struct FeatureStatus {
  char feature[name_bytes];
  std::uint32_t enabled;
  std::uint32_t reason;
};

/// One registered parse tree: its name and the queue that serves its commands.
struct ParseTree {
  char name[name_bytes];
  Address server;
  std::uint32_t backend_ready;
  std::uint32_t reserved;
};
/// This, then `count` ParseTree.
struct ParseTrees {
  std::uint32_t rcode;
  std::uint32_t count;
};

/// A shell command: this, then `attribute_count` attributes, each an Attribute and its value padded
/// with zero bytes to a multiple of 8.
struct Command {
  std::uint32_t version;  ///< 1
  std::uint32_t id;
  std::uint32_t is_del;  ///< 1 for the "no" form
  std::uint32_t attribute_count;
};
/// The answer: this, the text padded to a multiple of 8, then the attributes.
struct CommandAnswer {
  std::uint32_t version;  ///< 1
  std::uint32_t status;   ///< 0 ok, 1 nok
  std::uint32_t text_length;
  std::uint32_t attribute_count;
};
enum class AttributeKind : std::uint32_t { value = 0, rejected_range = 1 };
/// `rejected_range` values are {uint32 lower, uint32 upper} pairs.
struct Attribute {
  std::uint32_t id;
  std::uint32_t length;  ///< bytes of value, without padding
  AttributeKind kind;
  std::uint32_t reserved;
};

/// The generation service asks a program for its lines.
struct Generate {
  std::uint32_t config_type;   ///< RCGEN_CFG_*
  std::uint32_t display_type;  ///< RCGEN_DISPLAY_ALL or another value
  char startup_uri_prefix[uri_bytes];
  vlan_bitset_t vlans;
  std::uint32_t reserved;
};
/// The answer: this, then `line_count` lines, each a GeneratedLine and its text padded to a multiple of 8.
struct Generated {
  std::uint32_t rcode;
  std::uint32_t line_count;
  std::uint32_t uuid, element, kind;        ///< rcgen_elem_add
  std::uint32_t property;                   ///< rcgen_elem_property_set
  std::uint32_t after_uuid, after_element;  ///< rcgen_elem_dependency_add
  char text[128];                           ///< of rcgen_set_response_status
};
struct GeneratedLine {
  std::uint16_t vlan;
  std::uint16_t indent;
  std::uint32_t length;  ///< bytes of text, with its line end
};
struct ShowConfig {
  std::uint32_t config_type;
  std::uint32_t display_type;
  vlan_bitset_t vlans;  ///< those to show; none set means all
};
/// This, then the rendered text.
struct ConfigText {
  std::uint32_t rcode;
  std::uint32_t length;
};

struct TraceSwitch {
  std::uint32_t category;
  std::uint32_t print;   ///< 1 prints the category at once, 0 does not
  std::uint32_t record;  ///< 1 records it in the history, 0 does not
};

static_assert(sizeof(HandshakeAnswer) == 12);
static_assert(sizeof(StoreLocations) == 4 + 2 * uri_bytes + name_bytes);
static_assert(sizeof(Subscription) == 12 && sizeof(Registration) == 40 && sizeof(Handshake) == 16);
static_assert(sizeof(BoardInfo) == 12);
static_assert(sizeof(ParseTree) == 48);
static_assert(sizeof(Command) == 16 && sizeof(CommandAnswer) == 16 && sizeof(Attribute) == 16);
static_assert(sizeof(Generate) == 784);
static_assert(sizeof(Generated) == 160 && sizeof(GeneratedLine) == 8);

}  // namespace opal::bus
