#include "host/shell/messages.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/shell/lists.h"
#include "host/text/if_index_name.h"
#include "opal/cush.h"
#include "opal/if_index.h"
#include "opal/ncfg.h"
#include "opal/rcode.h"

namespace shell {
namespace {

using namespace opal;

host::Failed unreadable() { return host::failure("The answer is malformed; none of it is shown."); }

bus::Payload number_ranges(const std::vector<Range> &ranges) {
  cush_int_multi_range_t record{};
  for (const Range &range : ranges) {
    record.range[record.range_count++] = {range.lower, range.upper};
  }
  return bus::Writer().record(record).take();
}

bus::Payload interface_ranges(const std::vector<Range> &ranges) {
  cush_intf_range_t record{};
  for (const Range &range : ranges) {
    if_index_type_t type = 0;
    if (if_index_get_type(range.lower, &type) == RCODE_SUCCESS) {
      record.mask |= 1u << (type % 32);
    }
    record.range[record.range_count++] = {range.lower, range.upper};
  }
  record.size =
      static_cast<std::uint32_t>(offsetof(cush_intf_range_t, range) + ranges.size() * sizeof record.range[0]);
  return bus::Writer().bytes(bus::bytes_of(record).first(record.size)).take();
}

host::Result<bus::Payload> attribute_value(const AttributeRule &rule, const std::string &argument) {
  return rule.type == AttributeType::number_ranges ? parse_vlans(argument).map(number_ranges)
                                                   : parse_interfaces(argument).map(interface_ranges);
}

Cell cell(const Column &column, std::uint32_t number) {
  return column.type == ColumnType::interface ? Cell(host::if_index_name(number)) : Cell(number);
}

/// Rows of consecutive attributes, one for each column, in their order.
host::Result<Output> rows_of(const Table &table, const std::vector<bus::AttributeView> &attributes) {
  Output result{table.columns, {}, table.empty, {}};
  const std::size_t columns = table.columns.size();
  if (columns == 0) {
    return result;
  }
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const Column &column = table.columns[i % columns];
    const auto number = bus::record_of<std::uint32_t>(attributes[i].value);
    if (attributes[i].id != column.attribute || attributes[i].kind != bus::AttributeKind::value || !number) {
      return unreadable();
    }
    if (i % columns == 0) {
      result.rows.emplace_back();
    }
    result.rows.back().push_back(cell(column, *number));
  }
  if (attributes.size() % columns != 0) {
    return unreadable();
  }
  return result;
}

std::vector<Range> rejected_ranges(const std::vector<bus::AttributeView> &attributes) {
  std::vector<Range> ranges;
  for (const bus::AttributeView &attribute : attributes) {
    if (attribute.kind != bus::AttributeKind::rejected_range) {
      continue;
    }
    bus::Reader reader(attribute.value);
    while (const auto range = reader.record<Range>()) {
      ranges.push_back(*range);
    }
  }
  return ranges;
}

/// A program's text without the line ends after it; `otherwise` when nothing is left.
std::string sentence(std::string_view text, const char *otherwise) {
  const std::size_t last = text.find_last_not_of("\r\n ");
  return last == std::string_view::npos ? otherwise : std::string(text.substr(0, last + 1));
}

void set_vlans(vlan_bitset_t &vlans, const std::vector<Range> &ranges) {
  for (const Range &range : ranges) {
    for (std::uint32_t vlan = range.lower; vlan <= range.upper; ++vlan) {
      vlans.bits[vlan / 8] = static_cast<std::uint8_t>(vlans.bits[vlan / 8] | 1u << (vlan % 8));
    }
  }
}

}  // namespace

host::Result<bus::Payload> command_payload(const CommandMessage &message, const Parsed &parsed) {
  std::vector<bus::Payload> values;
  bus::CommandView command{message.id, parsed.is_no, {}};
  values.reserve(message.attributes.size());
  for (const AttributeRule &rule : message.attributes) {
    if (const auto argument = parsed.arguments.find(rule.argument); argument != parsed.arguments.end()) {
      host::Result<bus::Payload> value = attribute_value(rule, argument->second);
      if (!value) {
        return failed(std::move(value));
      }
      values.push_back(std::move(*value));
      command.attributes.push_back({rule.id, bus::AttributeKind::value, values.back()});
    }
  }
  return bus::encode_command(command);
}

bus::Payload ncfg_payload(const NcfgMessage &message, bool is_no) {
  bus::Writer body;
  std::uint32_t bytes = 0;
  for (const BodyField &field : message.body) {
    const std::uint32_t value = is_no ? field.value_of_no : field.value;
    if (field.bytes == 1) {
      body.record(static_cast<std::uint8_t>(value));
    } else if (field.bytes == 2) {
      body.record(static_cast<std::uint16_t>(value));
    } else {
      body.record(value);
    }
    bytes += field.bytes;
  }
  ncfg_payload_t header{};
  header.msg_type = is_no ? NCFG_DELETE_REQ : NCFG_SET_REQ;
  header.data_size = bytes;
  return bus::Writer().record(header).bytes(body.take()).take();
}

host::Result<bus::Payload> show_config_payload(const ShowConfigMessage &message, const Parsed &parsed) {
  bus::ShowConfig request{};
  request.config_type = message.config_type;
  request.display_type = message.display_type;
  request.vlans.size = VLAN_BITSET_BYTES;
  if (const auto vlans = parsed.arguments.find("VLANS"); vlans != parsed.arguments.end()) {
    host::Result<std::vector<Range>> ranges = parse_vlans(vlans->second);
    if (!ranges) {
      return failed(std::move(ranges));
    }
    set_vlans(request.vlans, *ranges);
  }
  return bus::Writer().record(request).take();
}

CommandResult<Output> read_command_answer(const Table &table, const bus::Payload &payload) {
  const auto answer = bus::decode_command_answer(payload);
  if (!answer) {
    return unreadable();
  }
  if (!answer->ok) {
    return tl::unexpected(CommandFailure(
        host::Failure(sentence(answer->text, "The command failed; the program gave no reason.")),
        rejected_ranges(answer->attributes)));
  }
  return rows_of(table, answer->attributes);
}

host::Result<> read_ncfg_answer(const bus::Payload &payload) {
  bus::Reader reader(payload);
  const auto header = reader.record<ncfg_payload_t>();
  if (!header) {
    return unreadable();
  }
  if (header->return_code != 0) {
    return host::failure(fmt::format("Refused with code {}.", header->return_code));
  }
  return {};
}

host::Result<Output> read_config_text(const bus::Payload &payload) {
  const auto config = bus::decode_config_text(payload);
  if (!config) {
    return unreadable();
  }
  if (config->rcode != RCODE_SUCCESS) {
    return host::failure(
        sentence(config->text, fmt::format("No configuration: {}.", rcode2str(config->rcode)).c_str()));
  }
  return Output{{}, {}, {}, std::string(config->text)};
}

host::Result<> read_result(const bus::Payload &payload) {
  const auto result = bus::record_of<bus::Result>(payload);
  if (!result) {
    return unreadable();
  }
  if (result->rcode != RCODE_SUCCESS) {
    return host::failure(fmt::format("Not done: {}.", rcode2str(result->rcode)));
  }
  return {};
}

}  // namespace shell
