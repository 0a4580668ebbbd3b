// The result of a command: one model, shown as text to people and as JSON to programs.
//
// The JSON document has the same members for every command, failed or not, and is one line:
//
//   {"version":1, "command":"show cin vlans", "ok":true, "rows":[{"vlan":100}], "text":"", "error":"",
//    "rejected":[{"first":5,"last":7}]}
//
// `rows` holds one object per row of a table, `text` the lines of a configuration or of the help.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/shell/command_failure.h"
#include "host/shell/command_tree.h"

namespace shell {

using Cell = std::variant<std::uint32_t, std::string>;

struct Output {
  std::vector<Column> columns;
  std::vector<std::vector<Cell>> rows;  ///< as many cells as columns
  std::string empty;                    ///< shown when there are columns and no rows
  std::string text;
};

/// @param emphasis whether the head of a table is bold, as on a terminal
std::string render_text(const Output &result, bool emphasis);

/// @param command written out in full
std::string render_json(const std::string &command, const Output &result);
std::string render_json(const std::string &command, const CommandFailure &failure);

/// The sentence, then a line with the rejected part.
std::string render_failure(const CommandFailure &failure);

}  // namespace shell
