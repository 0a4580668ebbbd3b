// From a typed line to a command of the tree.
//
// A line is words separated by blanks; blanks around a comma belong to a list. A word may be abbreviated
// while only one word of the tree at that place begins with it; the whole word always wins. A list of
// interfaces takes the rest of the line. `;` separates commands, `!` or `#` begins a comment.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/shell/command_tree.h"

namespace shell {

/// Most characters that the shell accepts in a line.
inline constexpr std::size_t line_limit = 2048;

using Words = std::vector<std::string>;

/// The commands of one line, each as its words; empty ones are left out. A line over line_limit or with
/// control characters is refused.
host::Result<std::vector<Words>> split_line(std::string_view line);

struct Parsed {
  enum class Kind { complete, incomplete, unknown };
  Kind kind = Kind::unknown;
  const Command *command = nullptr;  ///< of a complete one
  bool is_no = false;
  std::map<std::string, std::string> arguments;  ///< of a complete one, by name
  Words words;                                   ///< of a complete one, written out in full
  std::string mistake;                           ///< of the others: one sentence
};

Parsed parse(const CommandTree &tree, const Words &words);

/// A word or an argument that can come next, and its help text.
struct Choice {
  std::string text;
  std::string help;
  friend bool operator==(const Choice &, const Choice &) = default;
};

/// What may follow `words` and begins with `partial`, in alphabetical order; "<cr>" when the command is
/// complete as it is.
std::vector<Choice> choices(const CommandTree &tree, const Words &words, std::string_view partial);

}  // namespace shell
