#include "host/bus/services.h"
#include "opal/qbus.h"

namespace {

namespace opcode = opal::bus::opcode;

struct OpcodeName {
  std::uint32_t opcode;
  const char *name;
};

constexpr OpcodeName opcode_names[] = {
    {QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, "QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE"},
    {QBUS_OPC_LC_ONLINE, "QBUS_OPC_LC_ONLINE"},
    {QBUS_OPC_LTLSVC_ALLOC_LTL, "QBUS_OPC_LTLSVC_ALLOC_LTL"},
    {QBUS_OPC_LTLSVC_DEALLOC_LTL, "QBUS_OPC_LTLSVC_DEALLOC_LTL"},
    {QBUS_OPC_LTLSVC_CBL_CHANGE, "QBUS_OPC_LTLSVC_CBL_CHANGE"},
    {QBUS_OPC_VLAN_MGR_VLANS_DELETED, "QBUS_OPC_VLAN_MGR_VLANS_DELETED"},
    {QBUS_OPC_VLAN_FEAT_CREATE, "QBUS_OPC_VLAN_FEAT_CREATE"},
    {QBUS_OPC_VLAN_FEAT_DELETE, "QBUS_OPC_VLAN_FEAT_DELETE"},
    {opcode::cush_command, "QBUS_OPC_CUSH_COMMAND"},
    {opcode::rcgen_generate, "QBUS_OPC_RCGEN_GENERATE"},
    {opcode::ncfg_debug, "QBUS_OPC_NCFG_DEBUG"},
    {opcode::ncfg_enable, "QBUS_OPC_NCFG_ENABLE"},
    {opcode::subscribe, "QBUS_OPC_SUBSCRIBE"},
    {opcode::handshake, "QBUS_OPC_OVERSEER_HANDSHAKE"},
    {opcode::heartbeat, "QBUS_OPC_OVERSEER_HEARTBEAT"},
    {opcode::start_status, "QBUS_OPC_OVERSEER_START_STATUS"},
    {opcode::condition, "QBUS_OPC_OVERSEER_CONDITION"},
    {opcode::config_write, "QBUS_OPC_OVERSEER_CONFIG_WRITE"},
    {opcode::save, "QBUS_OPC_OVERSEER_SAVE"},
    {opcode::barrier, "QBUS_OPC_OVERSEER_BARRIER"},
    {opcode::board_info, "QBUS_OPC_BOARD_INFO"},
    {opcode::portsvc_register, "QBUS_OPC_PORTSVC_REGISTER"},
    {opcode::portsvc_present, "QBUS_OPC_PORTSVC_PRESENT"},
    {opcode::ifindex_to_di, "QBUS_OPC_LTLSVC_IFINDEX_TO_DI"},
    {opcode::port_channel_info, "QBUS_OPC_CHANAGG_PC_INFO"},
    {opcode::kinb_init, "QBUS_OPC_KINB_INIT"},
    {opcode::kinb_vlan_add, "QBUS_OPC_KINB_VLAN_ADD"},
    {opcode::kinb_vlan_del, "QBUS_OPC_KINB_VLAN_DEL"},
    {opcode::feature_status, "QBUS_OPC_CAPREG_FEATURE_STATUS"},
    {opcode::check_feature, "QBUS_OPC_VLAN_MGR_CHECK_FEATURE"},
    {opcode::register_parse_tree, "QBUS_OPC_CUSH_REGISTER_PARSE_TREE"},
    {opcode::backend_init, "QBUS_OPC_CUSH_BACKEND_INIT"},
    {opcode::list_parse_trees, "QBUS_OPC_CUSH_LIST_PARSE_TREES"},
    {opcode::rcgen_register, "QBUS_OPC_RCGEN_REGISTER"},
    {opcode::show_config, "QBUS_OPC_RCGEN_SHOW_CONFIG"},
    {opcode::trace_switch, "QBUS_OPC_TRACEKIT_SWITCH"},
    {opcode::control, "QBUS_OPC_CONTROL"},
};

}  // namespace

const char *qbus_opc_name_get(uint32_t opcode) {
  for (const OpcodeName &known : opcode_names)
    if (known.opcode == opcode) return known.name;
  return "QBUS_OPC_UNKNOWN";
}
