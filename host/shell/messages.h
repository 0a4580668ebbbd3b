// The messages that carry commands: how a command's arguments become a payload, and what its answer
// says.
//
// The attribute records are those of include/opal/cush.h: a list of numbers is the whole record of 64
// entries, a list of interfaces only as long as its entries. A reader of answers throws a CommandError
// (status_failed) for one that failed or cannot be read.
#pragma once

#include "host/bus/codec.h"
#include "host/shell/parser.h"
#include "host/shell/result.h"

namespace shell {

opal::bus::Payload command_payload(const CommandMessage &message, const Parsed &parsed);
opal::bus::Payload ncfg_payload(const NcfgMessage &message, bool is_no);
opal::bus::Payload show_config_payload(const ShowConfigMessage &message, const Parsed &parsed);

Result read_command_answer(const Table &table, const opal::bus::Payload &payload);
void read_ncfg_answer(const opal::bus::Payload &payload);
Result read_config_text(const opal::bus::Payload &payload);
void read_result(const opal::bus::Payload &payload);

}  // namespace shell
