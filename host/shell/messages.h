// The messages that carry commands: how a command's arguments become a payload, and how its answer is
// read.
//
// The attribute records are those of include/opal/cush.h: a list of numbers is the whole record of 64
// entries, a list of interfaces only as long as its entries. A function that reads an answer fails when the
// answer refuses the command or is malformed.
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
