// The messages that carry commands: how a command's arguments become a payload, and what its answer
// says.
//
// The attribute records are those of include/opal/cush.h: a list of numbers is the whole record of 64
// entries, a list of interfaces only as long as its entries. A reader of answers fails for one that refuses or
// cannot be read.
#pragma once

#include "host/bus/codec.h"
#include "host/shell/output.h"
#include "host/shell/parser.h"

namespace shell {

host::Result<opal::bus::Payload> command_payload(const CommandMessage &message, const Parsed &parsed);
opal::bus::Payload ncfg_payload(const NcfgMessage &message, bool is_no);
host::Result<opal::bus::Payload> show_config_payload(const ShowConfigMessage &message, const Parsed &parsed);

CommandResult<Output> read_command_answer(const Table &table, const opal::bus::Payload &payload);
[[nodiscard]] host::Result<> read_ncfg_answer(const opal::bus::Payload &payload);
host::Result<Output> read_config_text(const opal::bus::Payload &payload);
[[nodiscard]] host::Result<> read_result(const opal::bus::Payload &payload);

}  // namespace shell
