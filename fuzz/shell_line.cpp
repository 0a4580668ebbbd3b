// A line typed at the shell: parsed, looked up, and completed.
#include "fuzz/fuzz.h"
#include "host/shell/parser.h"

std::vector<fuzz::Input> fuzz::seeds() {
  std::vector<Input> all;
  for (const char *line : {"show running-config all vlan 3-5,200", "no vlan 100 cin; show cin vlans",
                           "sh cou int eth 1/3-5, port-channel 7", "debug tesk packet ! why",
                           "copy running-config startup-config", "vlan 100 ?"})
    all.push_back(input_of(std::string(line)));
  return all;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const shell::CommandTree tree = shell::load_trees(TREES_FOLDER).value();
  const std::string_view line(reinterpret_cast<const char *>(data), size);
  const auto commands = shell::split_line(line);
  if (!commands) {
    fuzz::must(!commands.error().what.empty(), "a refusal says why");
    return 0;
  }
  for (const shell::Words &words : *commands) {
    const shell::Parsed parsed = shell::parse(tree, words);
    const bool is_complete = parsed.kind == shell::Parsed::Kind::complete;
    fuzz::must(is_complete == (parsed.command != nullptr), "a complete command is known");
    fuzz::must(is_complete == parsed.mistake.empty(), "what is wrong is told in a sentence");
    shell::Words before = words;
    before.pop_back();
    for (const shell::Choice &choice : shell::choices(tree, before, words.back()))
      fuzz::must(!choice.text.empty(), "a choice has a text");
  }
  return 0;
}
