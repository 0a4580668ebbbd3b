// The commands that the shell offers, as data.
//
// A parse tree is a JSON file, trees/NAME.json. The tree of a program has the name under which the
// program registered with the shell's registry; `platform.json` holds the commands of the platform's own
// services and of the shell itself. A tree defines for each command its syntax, the message that carries
// it, and how the answer is shown; no program is built into the shell.
//
//   version    1
//   server     name that the program registered; absent for the platform's own tree
//   help       help text of each word; a key with the words before it gives another text there
//   commands   list of:
//     syntax       words in lower case, arguments in capitals (VLANS, INTERFACES), optional parts in
//                  brackets; an optional "no" in front selects the deleting form
//     message      the message that carries it:
//       command      a command message: `id`, `attributes` of {attribute, type, argument}, `answer` of
//                    {columns of {attribute, key, title, type}, empty}; a row begins with each
//                    occurrence of the first column's attribute
//       ncfg         a configuration-interface request: `opcode`, `body` of {bytes, value, no}
//       show_config  asks for the configuration's text: `config_type`, `display_type`
//       save         saves the running configuration to startup
//       enter        makes the words a context: later lines continue them
//       exit, end, help   run by the shell itself
//
// A file that breaks these rules is refused as a whole; the error names the file and the mistake.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/system/failure.h"

namespace shell {

enum class AttributeType { number_ranges, interface_ranges };
enum class ColumnType { number, interface };

/// An attribute of a command, present when its argument was typed.
struct AttributeRule {
  std::uint32_t id = 0;
  AttributeType type = AttributeType::number_ranges;
  std::string argument;
};

struct Column {
  std::uint32_t attribute = 0;
  std::string key;    ///< name for programs
  std::string title;  ///< name for people
  ColumnType type = ColumnType::number;
};

/// How an answer's attributes are shown.
struct Table {
  std::vector<Column> columns;
  std::string empty;  ///< shown instead of a table without rows
};

struct CommandMessage {
  std::uint32_t id = 0;
  std::vector<AttributeRule> attributes;
  Table answer;
};

/// A number in the body of a configuration-interface request.
struct BodyField {
  std::uint32_t bytes = 0;  ///< 1, 2 or 4
  std::uint32_t value = 0;
  std::uint32_t value_of_no = 0;  ///< in the "no" form
};

struct NcfgMessage {
  std::uint32_t opcode = 0;
  std::vector<BodyField> body;
};

struct ShowConfigMessage {
  std::uint32_t config_type = 0;
  std::uint32_t display_type = 0;
};

struct SaveMessage {};
struct EnterContext {};
struct LeaveContext {
  bool to_top = false;
};
struct ShowHelp {};

using Action = std::variant<CommandMessage, NcfgMessage, ShowConfigMessage, SaveMessage, EnterContext,
                            LeaveContext, ShowHelp>;

struct Command {
  std::string server;  ///< registered name of the program that serves it; "" for the platform
  std::string syntax;
  Action action;
};

struct Element {
  std::string text;
  bool argument = false;
};

/// One way to type a command: its syntax with every optional part either present or absent.
struct Form {
  std::vector<Element> elements;
  std::size_t command = 0;  ///< position in CommandTree::commands
  bool is_no = false;
};

struct CommandTree {
  std::vector<Command> commands;
  std::vector<Form> forms;
  std::map<std::string, std::string> help;
};

/// Reads every tree of a folder.
host::Result<CommandTree> load_trees(const std::filesystem::path &folder);

/// Adds one tree, or on failure nothing of it. @param name the file's, for messages
[[nodiscard]] host::Result<> add_tree(CommandTree &tree, const std::string &name,
                                      const std::string &json_text);

/// Folder of the trees: the environment's CUSH_TREES, else ../share/cush or `trees` beside the program.
std::filesystem::path trees_folder();

}  // namespace shell
