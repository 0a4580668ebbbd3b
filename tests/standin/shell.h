/* The operator's shell and the running-configuration service.
 *
 * A command is a message with opcode 0x1DFF. Its handle has the size that the daemon is given, and all of it
 * is written, so that a scratch area that is too small is detected. Every answer is a line of the record. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/standin/message.h"

namespace standin {

constexpr uint32_t command_opcode = 0x1dff;
constexpr uint32_t generation_opcode = 0x1def;

/** A command as the operator typed it. */
struct Command {
  uint32_t id = 0;
  bool is_no_form = false;
  std::map<uint32_t, Bytes> attributes = {};
};

/** The message of a command. */
Message message_of_command(Command command);

/** Value of a VLAN list attribute. */
Bytes vlan_ranges(const std::vector<std::pair<uint32_t, uint32_t>> &ranges);

/** Value of an interface range attribute. */
Bytes interface_ranges(const std::vector<std::pair<uint32_t, uint32_t>> &ranges);

/** A request for configuration text. */
struct Generation {
  std::vector<uint32_t> vlans = {};
  int configuration = 1; /**< 1 running, 2 startup */
  int display = 0;
};

Message message_of_generation(Generation generation);

/** Number of live blocks when the daemon last answered a command or a request for text. */
size_t blocks_when_answered();

void reset_shell();
void verify_shell();

}  // namespace standin
