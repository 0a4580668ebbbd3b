#include "host/shell/parser.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

#include "host/shell/command_failure.h"

namespace shell {
namespace {

/// A form that matches the words typed so far.
struct Candidate {
  const Form *form = nullptr;
  std::map<std::string, std::string> arguments;
  bool rest_taken = false;
};

const Element *element_at(const Candidate &candidate, std::size_t position) {
  return position < candidate.form->elements.size() ? &candidate.form->elements[position] : nullptr;
}

std::set<std::string> words_at(const std::vector<Candidate> &candidates, std::size_t position,
                               std::string_view beginning) {
  std::set<std::string> words;
  for (const Candidate &candidate : candidates) {
    const Element *element = element_at(candidate, position);
    if (element != nullptr && !element->argument && element->text.starts_with(beginning)) {
      words.insert(element->text);
    }
  }
  if (words.contains(std::string(beginning))) {
    return {std::string(beginning)};
  }
  return words;
}

/// The candidates whose next element is the word.
std::vector<Candidate> taking_word(const std::vector<Candidate> &candidates, std::size_t position,
                                   const std::string &word) {
  std::vector<Candidate> fitting;
  for (const Candidate &candidate : candidates) {
    const Element *element = element_at(candidate, position);
    if (element != nullptr && !element->argument && element->text == word) {
      fitting.push_back(candidate);
    }
  }
  return fitting;
}

/// The candidates whose next element is an argument, or whose argument continues; adds the typed text to it.
std::vector<Candidate> taking_argument(const std::vector<Candidate> &candidates, std::size_t position,
                                       const std::string &typed) {
  std::vector<Candidate> fitting;
  for (Candidate candidate : candidates) {
    const Element *element =
        candidate.rest_taken ? &candidate.form->elements.back() : element_at(candidate, position);
    if (element == nullptr || !element->argument) {
      continue;
    }
    std::string &argument = candidate.arguments[element->text];
    argument += (argument.empty() ? "" : " ") + typed;
    candidate.rest_taken = element->text == "INTERFACES";
    fitting.push_back(std::move(candidate));
  }
  return fitting;
}

std::vector<Candidate> all_forms(const CommandTree &tree) {
  std::vector<Candidate> candidates;
  candidates.reserve(tree.forms.size());
  for (const Form &form : tree.forms) {
    candidates.push_back({&form, {}, false});
  }
  return candidates;
}

struct Narrowed {
  std::vector<Candidate> candidates;
  Words written_out;
  std::string mistake;  ///< "" when every word fits
};

Narrowed narrow(const CommandTree &tree, const Words &typed) {
  Narrowed result{all_forms(tree), {}, {}};
  for (std::size_t position = 0; position < typed.size(); ++position) {
    const std::set<std::string> words = words_at(result.candidates, position, typed[position]);
    if (words.size() > 1) {
      result.mistake =
          fmt::format("\"{}\" is ambiguous: it can be {}.", typed[position], fmt::join(words, " or "));
      return result;
    }
    std::vector<Candidate> next = words.empty()
                                      ? taking_argument(result.candidates, position, typed[position])
                                      : taking_word(result.candidates, position, *words.begin());
    if (next.empty()) {
      result.mistake =
          position == 0
              ? fmt::format("There is no command \"{}\"; ? lists the commands.", typed[position])
              : fmt::format("\"{}\" cannot follow \"{}\"; \"{} ?\" lists what can.", typed[position],
                            fmt::join(result.written_out, " "), fmt::join(result.written_out, " "));
      return result;
    }
    result.written_out.push_back(words.empty() ? typed[position] : *words.begin());
    result.candidates = std::move(next);
  }
  return result;
}

bool is_complete(const Candidate &candidate, std::size_t typed) {
  return candidate.rest_taken || candidate.form->elements.size() == typed;
}

std::string incomplete(const Narrowed &narrowed, std::size_t position) {
  std::set<std::string> next;
  for (const Candidate &candidate : narrowed.candidates) {
    next.insert(candidate.form->elements[position].text);
  }
  return fmt::format("\"{}\" is not complete: {} must follow.", fmt::join(narrowed.written_out, " "),
                     fmt::join(next, " or "));
}

std::string argument_help(const std::string &name) {
  return name == "VLANS" ? "Enter VLANs from 1 to 4095, such as 3-5,200"
                         : "Enter interfaces, such as ethernet 1/3-5,port-channel 7";
}

/// The help of a word after `before`: the help of the whole path if the tree has one, else the word's own.
std::string help_of(const CommandTree &tree, const Words &before, const Element &element) {
  if (element.argument) {
    return argument_help(element.text);
  }
  const auto first = before.begin() + (!before.empty() && before.front() == "no" ? 1 : 0);
  auto found = tree.help.find(fmt::format("{} {}", fmt::join(first, before.end(), " "), element.text));
  if (found == tree.help.end()) {
    found = tree.help.find(element.text);
  }
  return found == tree.help.end() ? "" : found->second;
}

/// Removes the blanks around commas, so that a list is one word.
std::string joined_lists(std::string_view line) {
  std::string joined;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == ' ' && (line.find_first_not_of(' ', i) == std::string_view::npos ||
                           line[line.find_first_not_of(' ', i)] == ',' || joined.ends_with(','))) {
      continue;
    }
    joined += line[i];
  }
  return joined;
}

Words words_of(std::string_view text) {
  Words words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (end > 0) {
      words.emplace_back(text.substr(0, end));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

}  // namespace

host::Result<std::vector<Words>> split_line(std::string_view line) {
  if (line.size() > line_limit) {
    return syntax_failure(
        fmt::format("The line has {} characters; at most {} are accepted.", line.size(), line_limit));
  }
  std::string text(line.substr(0, line.find_first_of("!#")));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
  if (std::any_of(text.begin(), text.end(),
                  [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; })) {
    return syntax_failure("The line has a control character; only text is accepted.");
  }
  std::vector<Words> commands;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(';', start), text.size());
    Words words = words_of(joined_lists(std::string_view(text).substr(start, end - start)));
    if (!words.empty()) {
      commands.push_back(std::move(words));
    }
    start = end + 1;
  }
  return commands;
}

Parsed parse(const CommandTree &tree, const Words &words) {
  Narrowed narrowed = narrow(tree, words);
  Parsed parsed;
  parsed.mistake = narrowed.mistake;
  if (!parsed.mistake.empty()) {
    return parsed;
  }
  for (Candidate &candidate : narrowed.candidates) {
    if (is_complete(candidate, words.size())) {
      return {Parsed::Kind::complete,         &tree.commands[candidate.form->command], candidate.form->is_no,
              std::move(candidate.arguments), std::move(narrowed.written_out),         {}};
    }
  }
  parsed.kind = Parsed::Kind::incomplete;
  parsed.mistake = incomplete(narrowed, words.size());
  return parsed;
}

std::vector<Choice> choices(const CommandTree &tree, const Words &words, std::string_view partial) {
  const Narrowed narrowed = narrow(tree, words);
  if (!narrowed.mistake.empty()) {
    return {};
  }
  std::map<std::string, std::string> found;
  for (const Candidate &candidate : narrowed.candidates) {
    const Element *element = element_at(candidate, words.size());
    if (is_complete(candidate, words.size())) {
      if (partial.empty()) {
        found.emplace("<cr>", "Run the command");
      }
    } else if (element != nullptr &&
               (element->argument ? partial.empty() : element->text.starts_with(partial))) {
      found.emplace(element->text, help_of(tree, narrowed.written_out, *element));
    }
  }
  std::vector<Choice> list;
  list.reserve(found.size());
  for (auto &[text, help] : found) {
    list.push_back({text, help});
  }
  return list;
}

}  // namespace shell
