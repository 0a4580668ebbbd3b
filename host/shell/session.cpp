#include "host/shell/session.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "host/shell/lists.h"
#include "host/shell/messages.h"

namespace shell {
namespace {

using namespace opal;

template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

bool asks_for_help(const Words &words) { return words.back().ends_with('?'); }

void check_arguments(const Parsed &parsed) {
  if (const auto vlans = parsed.arguments.find("VLANS"); vlans != parsed.arguments.end()) {
    parse_vlans(vlans->second);
  }
  if (const auto interfaces = parsed.arguments.find("INTERFACES"); interfaces != parsed.arguments.end()) {
    parse_interfaces(interfaces->second);
  }
}

Result text_result(std::string text) { return {{}, {}, {}, std::move(text)}; }

}  // namespace

Session::Session(const CommandTree &tree, Link &link, SessionOptions options, std::ostream &out,
                 std::ostream &err)
    : tree_(tree), link_(link), options_(options), out_(out), err_(err) {}

Status Session::run_line(std::string_view line) {
  std::vector<Words> commands;
  try {
    commands = split_line(line);
  } catch (const CommandError &error) {
    return show_failure("", error);
  }
  Status status = status_ok;
  for (const Words &words : commands) {
    const Status one = run_command(words);
    status = status == status_ok ? one : status;
    if (ended_ || (status != status_ok && !options_.keep_going)) {
      break;
    }
  }
  return status;
}

Status Session::run_command(const Words &words) {
  std::string name = fmt::format("{}", fmt::join(words, " "));
  Status status = status_ok;
  try {
    Result result;
    if (asks_for_help(words)) {
      result = list_choices(words);
    } else {
      const Parsed parsed = parse_here(words);
      name = fmt::format("{}", fmt::join(parsed.words, " "));
      result = carry_out(parsed);
    }
    out_ << (options_.json ? render_json(name, result) : render_text(result, options_.emphasis));
  } catch (const CommandError &error) {
    status = show_failure(name, error);
  }
  out_.flush();
  return status;
}

Status Session::show_failure(const std::string &command, const CommandError &error) {
  if (options_.json) {
    out_ << render_json(command, error);
  }
  out_.flush();
  err_ << render_error(error);
  return error.status();
}

Words Session::in_context(const Words &words) const {
  Words whole = context_;
  const bool is_no = !words.empty() && words.front() == "no";
  if (is_no) {
    whole.insert(whole.begin(), "no");
  }
  whole.insert(whole.end(), words.begin() + (is_no ? 1 : 0), words.end());
  return whole;
}

Parsed Session::parse_here(const Words &words) const {
  Parsed plain = parse(tree_, words);
  if (!context_.empty()) {
    Parsed continued = parse(tree_, in_context(words));
    const bool nearer = plain.kind != Parsed::Kind::complete && continued.kind == Parsed::Kind::incomplete;
    if (continued.kind == Parsed::Kind::complete || nearer) {
      plain = std::move(continued);
    }
  }
  if (plain.kind != Parsed::Kind::complete) {
    throw CommandError(status_syntax, plain.mistake);
  }
  return plain;
}

Result Session::carry_out(const Parsed &parsed) {
  const Command &command = *parsed.command;
  return std::visit(Overloaded{
                        [&](const CommandMessage &message) {
                          const bus::Payload request = command_payload(message, parsed);
                          return read_command_answer(
                              message.answer, link_.ask(link_.server_of(command.server),
                                                        bus::opcode::cush_command, request, command.server));
                        },
                        [&](const NcfgMessage &message) {
                          const bus::Payload request = ncfg_payload(message, parsed.is_no);
                          read_ncfg_answer(link_.ask(link_.server_of(command.server), message.opcode, request,
                                                     command.server));
                          return Result{};
                        },
                        [&](const ShowConfigMessage &message) {
                          return read_config_text(link_.ask(bus::address::rcgen, bus::opcode::show_config,
                                                            show_config_payload(message, parsed),
                                                            "The configuration service", relayed_timeout_ms));
                        },
                        [&](const SaveMessage &) {
                          read_result(link_.ask(bus::address::overseer, bus::opcode::save, {},
                                                "The supervisor", relayed_timeout_ms));
                          return Result{};
                        },
                        [&](const EnterContext &) {
                          enter(parsed);
                          return Result{};
                        },
                        [&](const LeaveContext &leaving) {
                          leave(leaving.to_top);
                          return Result{};
                        },
                        [&](const ShowHelp &) { return help(); },
                    },
                    command.action);
}

void Session::enter(const Parsed &parsed) {
  check_arguments(parsed);
  context_ = parsed.words;
}

void Session::leave(bool to_top) {
  ended_ = context_.empty() && !to_top;
  context_.clear();
}

std::string Session::prompt() const {
  return context_.empty() ? "switch# " : fmt::format("switch({})# ", fmt::join(context_, " "));
}

std::vector<Choice> Session::choices_for(std::string_view line) const {
  const bool at_word = !line.empty() && line.back() != ' ';
  const std::size_t last = line.rfind(';');
  std::vector<Words> commands = split_line(last == std::string_view::npos ? line : line.substr(last + 1));
  Words words = commands.empty() ? Words{} : std::move(commands.front());
  std::string partial;
  if (at_word && !words.empty()) {
    partial = std::move(words.back());
    words.pop_back();
  }
  std::vector<Choice> list = choices(tree_, words, partial);
  if (!context_.empty()) {
    std::vector<Choice> here = choices(tree_, in_context(words), partial);
    list.insert(list.begin(), here.begin(), here.end());
  }
  std::stable_sort(list.begin(), list.end(),
                   [](const Choice &a, const Choice &b) { return a.text < b.text; });
  list.erase(std::unique(list.begin(), list.end()), list.end());
  return list;
}

Result Session::list_choices(const Words &words) const {
  std::string line = fmt::format("{}", fmt::join(words, " "));
  line.pop_back();
  const std::vector<Choice> list = choices_for(line);
  if (list.empty()) {
    throw CommandError(status_syntax, fmt::format("Nothing is known that can follow \"{}\".", line));
  }
  return text_result(choices_text(list));
}

Result Session::help() const {
  std::string text =
      "Words may be shortened while they stay unambiguous; ? lists what may stand next.\n"
      "VLANS is a list such as 3-5,200; INTERFACES one such as ethernet 1/3-5,port-channel 7.\n"
      "`vlan VLANS` alone makes a context in which `cin` and `no cin` apply to these VLANs.\n"
      "\nCommands:\n";
  for (const Command &command : tree_.commands) {
    text += fmt::format("  {}\n", command.syntax);
  }
  return text_result(std::move(text));
}

std::string choices_text(const std::vector<Choice> &choices) {
  std::size_t width = 0;
  for (const Choice &choice : choices) {
    width = std::max(width, choice.text.size());
  }
  std::string text;
  for (const Choice &choice : choices) {
    text += fmt::format("  {:<{}}  {}\n", choice.text, width, choice.help);
  }
  return text;
}

}  // namespace shell
