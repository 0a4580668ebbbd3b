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

host::Result<> check_arguments(const Parsed &parsed) {
  if (const auto vlans = parsed.arguments.find("VLANS"); vlans != parsed.arguments.end()) {
    if (auto ranges = parse_vlans(vlans->second); !ranges) {
      return failed(std::move(ranges));
    }
  }
  if (const auto interfaces = parsed.arguments.find("INTERFACES"); interfaces != parsed.arguments.end()) {
    if (auto ranges = parse_interfaces(interfaces->second); !ranges) {
      return failed(std::move(ranges));
    }
  }
  return {};
}

Output text_result(std::string text) { return {{}, {}, {}, std::move(text)}; }

}  // namespace

Session::Session(const CommandTree &tree, BusClient &bus_client, SessionOptions options, std::ostream &out,
                 std::ostream &err)
    : tree_(tree), bus_client_(bus_client), options_(options), out_(out), err_(err) {}

Status Session::run_line(std::string_view line) {
  host::Result<std::vector<Words>> commands = split_line(line);
  if (!commands) {
    return show_failure("", commands.error());
  }
  Status status = status_ok;
  for (const Words &words : *commands) {
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
  const CommandResult<Output> output = answer_to(words, name);
  if (!output) {
    return show_failure(name, output.error());
  }
  out_ << (options_.json ? render_json(name, *output) : render_text(*output, options_.emphasis));
  out_.flush();
  return status_ok;
}

/// @param name receives the command written out in full, once it is known
CommandResult<Output> Session::answer_to(const Words &words, std::string &name) {
  if (asks_for_help(words)) {
    return list_choices(words);
  }
  host::Result<Parsed> parsed = parse_here(words);
  if (!parsed) {
    return failed(std::move(parsed));
  }
  name = fmt::format("{}", fmt::join(parsed->words, " "));
  return carry_out(*parsed);
}

Status Session::show_failure(const std::string &command, const CommandFailure &failure) {
  if (options_.json) {
    out_ << render_json(command, failure);
  }
  out_.flush();
  err_ << render_failure(failure);
  return status_of(failure);
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

host::Result<Parsed> Session::parse_here(const Words &words) const {
  Parsed plain = parse(tree_, words);
  if (!context_.empty()) {
    Parsed continued = parse(tree_, in_context(words));
    const bool nearer = plain.kind != Parsed::Kind::complete && continued.kind == Parsed::Kind::incomplete;
    if (continued.kind == Parsed::Kind::complete || nearer) {
      plain = std::move(continued);
    }
  }
  if (plain.kind != Parsed::Kind::complete) {
    return syntax_failure(std::move(plain.mistake));
  }
  return plain;
}

CommandResult<Output> Session::carry_out(const Parsed &parsed) {
  using Carried = CommandResult<Output>;
  const Command &command = *parsed.command;
  return std::visit(
      Overloaded{
          [&](const CommandMessage &message) -> Carried { return carry_out(command, message, parsed); },
          [&](const NcfgMessage &message) -> Carried { return carry_out(command, message, parsed); },
          [&](const ShowConfigMessage &message) -> Carried { return carry_out(message, parsed); },
          [&](const SaveMessage &) -> Carried { return save(); },
          [&](const EnterContext &) -> Carried { return enter(parsed); },
          [&](const LeaveContext &leaving) -> Carried {
            leave(leaving.to_top);
            return Output{};
          },
          [&](const ShowHelp &) -> Carried { return help(); },
      },
      command.action);
}

host::Result<bus::Payload> Session::ask_server(const Command &command, std::uint32_t opcode,
                                               const bus::Payload &request) {
  return bus_client_.server_of(command.server).and_then([&](bus::Address server) {
    return bus_client_.ask(server, opcode, request, command.server);
  });
}

CommandResult<Output> Session::carry_out(const Command &command, const CommandMessage &message,
                                         const Parsed &parsed) {
  host::Result<bus::Payload> answer =
      command_payload(message, parsed).and_then([&](const bus::Payload &request) {
        return ask_server(command, bus::opcode::cush_command, request);
      });
  if (!answer) {
    return failed(std::move(answer));
  }
  return read_command_answer(message.answer, *answer);
}

host::Result<Output> Session::carry_out(const Command &command, const NcfgMessage &message,
                                        const Parsed &parsed) {
  return ask_server(command, message.opcode, ncfg_payload(message, parsed.is_no))
      .and_then(read_ncfg_answer)
      .map([] { return Output{}; });
}

host::Result<Output> Session::carry_out(const ShowConfigMessage &message, const Parsed &parsed) {
  return show_config_payload(message, parsed)
      .and_then([&](const bus::Payload &request) {
        return bus_client_.ask(bus::address::rcgen, bus::opcode::show_config, request,
                               "The configuration service", relayed_timeout_ms);
      })
      .and_then(read_config_text);
}

host::Result<Output> Session::save() {
  return bus_client_.ask(bus::address::overseer, bus::opcode::save, {}, "The supervisor", relayed_timeout_ms)
      .and_then(read_result)
      .map([] { return Output{}; });
}

host::Result<Output> Session::enter(const Parsed &parsed) {
  return check_arguments(parsed).map([&] {
    context_ = parsed.words;
    return Output{};
  });
}

void Session::leave(bool to_top) {
  ended_ = context_.empty() && !to_top;
  context_.clear();
}

std::string Session::prompt() const {
  return context_.empty() ? "switch# " : fmt::format("switch({})# ", fmt::join(context_, " "));
}

host::Result<std::vector<Choice>> Session::choices_for(std::string_view line) const {
  const bool at_word = !line.empty() && line.back() != ' ';
  const std::size_t last = line.rfind(';');
  auto commands = split_line(last == std::string_view::npos ? line : line.substr(last + 1));
  if (!commands) {
    return failed(std::move(commands));
  }
  Words words = commands->empty() ? Words{} : std::move(commands->front());
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

host::Result<Output> Session::list_choices(const Words &words) const {
  std::string line = fmt::format("{}", fmt::join(words, " "));
  line.pop_back();
  host::Result<std::vector<Choice>> list = choices_for(line);
  if (!list) {
    return failed(std::move(list));
  }
  if (list->empty()) {
    return syntax_failure(fmt::format("Nothing can follow \"{}\".", line));
  }
  return text_result(choices_text(*list));
}

Output Session::help() const {
  std::string text =
      "Words can be abbreviated while they are unambiguous; ? lists what can come next.\n"
      "VLANS is a list such as 3-5,200; INTERFACES is a list such as ethernet 1/3-5,port-channel 7.\n"
      "`vlan VLANS` alone opens a context in which `cin` and `no cin` apply to these VLANs.\n"
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
