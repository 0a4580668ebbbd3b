#include "host/shell/command_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

namespace shell {
namespace {

using nlohmann::json;

/// Throws a mistake in a tree, as the JSON library throws others at any access; add_tree catches both.
[[noreturn]] void refuse(const std::string &what) { throw std::runtime_error(what); }

const json &member(const json &object, const char *name) {
  const auto found = object.find(name);
  if (found == object.end()) {
    refuse(fmt::format("\"{}\" is missing", name));
  }
  return *found;
}

/// A number, written as a JSON number or as a hexadecimal string ("0x14C20004").
std::uint32_t number(const json &object, const char *name) {
  const json &value = member(object, name);
  if (value.is_number_unsigned() && value.get<std::uint64_t>() <= UINT32_MAX) {
    return value.get<std::uint32_t>();
  }
  if (value.is_string()) {
    const auto &text = value.get_ref<const std::string &>();
    std::uint32_t parsed = 0;
    const char *end = text.data() + text.size();
    if (text.starts_with("0x") && std::from_chars(text.data() + 2, end, parsed, 16).ptr == end) {
      return parsed;
    }
  }
  refuse(fmt::format("\"{}\" must be a number from 0 to 4294967295 or a string such as \"0x1DFF\"", name));
}

std::string text(const json &object, const char *name) {
  const json &value = member(object, name);
  if (!value.is_string()) {
    refuse(fmt::format("\"{}\" must be a string", name));
  }
  return value.get<std::string>();
}

/// The members of an optional list.
const json &list(const json &object, const char *name) {
  static const json none = json::array();
  const auto found = object.find(name);
  if (found == object.end()) {
    return none;
  }
  if (!found->is_array()) {
    refuse(fmt::format("\"{}\" must be a list", name));
  }
  return *found;
}

template <typename Value>
struct Named {
  const char *name;
  Value value;
};

template <typename Value, std::size_t size>
Value choice(const json &object, const char *name, const std::array<Named<Value>, size> &accepted) {
  const std::string word = text(object, name);
  for (const Named<Value> &known : accepted) {
    if (word == known.name) {
      return known.value;
    }
  }
  refuse(fmt::format("\"{}\" cannot be \"{}\"", name, word));
}

constexpr std::array<Named<AttributeType>, 2> attribute_types{
    {{"number_ranges", AttributeType::number_ranges}, {"interface_ranges", AttributeType::interface_ranges}}};
constexpr std::array<Named<ColumnType>, 2> column_types{
    {{"number", ColumnType::number}, {"interface", ColumnType::interface}}};

Action read_command(const json &entry) {
  CommandMessage message;
  message.id = number(entry, "id");
  for (const json &attribute : list(entry, "attributes")) {
    message.attributes.push_back({number(attribute, "attribute"), choice(attribute, "type", attribute_types),
                                  text(attribute, "argument")});
  }
  if (const auto answer = entry.find("answer"); answer != entry.end()) {
    for (const json &column : list(*answer, "columns")) {
      message.answer.columns.push_back({number(column, "attribute"), text(column, "key"),
                                        text(column, "title"), choice(column, "type", column_types)});
    }
    message.answer.empty = text(*answer, "empty");
  }
  return message;
}

Action read_ncfg(const json &entry) {
  NcfgMessage message{number(entry, "opcode"), {}};
  for (const json &field : list(entry, "body")) {
    const std::uint32_t bytes = number(field, "bytes");
    if (bytes != 1 && bytes != 2 && bytes != 4) {
      refuse("\"bytes\" must be 1, 2 or 4");
    }
    const std::uint32_t value = number(field, "value");
    message.body.push_back({bytes, value, field.contains("no") ? number(field, "no") : value});
  }
  return message;
}

Action read_show_config(const json &entry) {
  return ShowConfigMessage{number(entry, "config_type"), number(entry, "display_type")};
}

constexpr std::array<Named<Action (*)(const json &)>, 8> messages{{
    {"command", read_command},
    {"ncfg", read_ncfg},
    {"show_config", read_show_config},
    {"save", [](const json &) -> Action { return SaveMessage{}; }},
    {"enter", [](const json &) -> Action { return EnterContext{}; }},
    {"exit", [](const json &) -> Action { return LeaveContext{false}; }},
    {"end", [](const json &) -> Action { return LeaveContext{true}; }},
    {"help", [](const json &) -> Action { return ShowHelp{}; }},
}};

Element element(const std::string &word) {
  if (word == "VLANS" || word == "INTERFACES") {
    return {word, true};
  }
  if (word.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") != std::string::npos) {
    refuse(fmt::format("\"{}\" is neither a word in lower case nor a known argument", word));
  }
  return {word, false};
}

/// Every way to type a syntax, with and without each optional part.
std::vector<std::vector<Element>> expand(const std::string &syntax) {
  const std::size_t open = syntax.find('[');
  if (open != std::string::npos) {
    const std::size_t close = syntax.find(']', open);
    if (close == std::string::npos) {
      refuse(fmt::format("the syntax \"{}\" has an open bracket", syntax));
    }
    auto with =
        expand(syntax.substr(0, open) + syntax.substr(open + 1, close - open - 1) + syntax.substr(close + 1));
    auto without = expand(syntax.substr(0, open) + syntax.substr(close + 1));
    with.insert(with.end(), std::make_move_iterator(without.begin()), std::make_move_iterator(without.end()));
    return with;
  }
  std::vector<Element> elements;
  std::istringstream words(syntax);
  for (std::string word; words >> word;) {
    elements.push_back(element(word));
  }
  if (elements.empty()) {
    refuse("a syntax is empty");
  }
  return {elements};
}

void add_command(CommandTree &tree, const std::string &server, const json &entry) {
  Command command{server, text(entry, "syntax"), choice(entry, "message", messages)(entry)};
  for (std::vector<Element> &elements : expand(command.syntax)) {
    const bool is_no = elements.front().text == "no";
    tree.forms.push_back({std::move(elements), tree.commands.size(), is_no});
  }
  tree.commands.push_back(std::move(command));
}

void add_document(CommandTree &tree, const json &document) {
  if (!document.is_object() || number(document, "version") != 1) {
    refuse("\"version\" must be 1");
  }
  const std::string server = document.contains("server") ? text(document, "server") : "";
  for (const auto &[word, help] : member(document, "help").items()) {
    tree.help.emplace(word, help.get<std::string>());
  }
  for (const json &entry : list(document, "commands")) {
    add_command(tree, server, entry);
  }
}

}  // namespace

host::Result<> add_tree(CommandTree &tree, const std::string &name, const std::string &json_text) {
  CommandTree extended = tree;
  try {
    add_document(extended, json::parse(json_text));
  } catch (const std::exception &mistake) {
    return host::failure(fmt::format("{}: not a parse tree: {}.", name, mistake.what()));
  }
  tree = std::move(extended);
  return {};
}

host::Result<CommandTree> load_trees(const std::filesystem::path &folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".json") {
      files.push_back(entry.path());
    }
  }
  if (error || files.empty()) {
    return host::failure(
        fmt::format("No parse trees in {}; set CUSH_TREES to the folder that holds them.", folder.string()));
  }
  std::sort(files.begin(), files.end());
  CommandTree tree;
  for (const auto &file : files) {
    std::ifstream stream(file);
    host::Result<> added = add_tree(tree, file.string(), {std::istreambuf_iterator<char>(stream), {}});
    if (!added) {
      return failed(std::move(added));
    }
  }
  return tree;
}

std::filesystem::path trees_folder() {
  if (const char *folder = std::getenv("CUSH_TREES")) {
    return folder;
  }
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto beside = program.parent_path() / "trees";
  return std::filesystem::is_directory(beside, error)
             ? beside
             : program.parent_path().parent_path() / "share" / "cush";
}

}  // namespace shell
