#include "host/shell/terminal.h"

#include <histedit.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

namespace shell {
namespace {

constexpr int history_lines = 1000;

struct EndEditor {
  void operator()(EditLine *editor) const { el_end(editor); }
};
struct EndHistory {
  void operator()(History *history) const { history_end(history); }
};

/// What the editor's callbacks reach through its client data.
struct Console {
  Session &session;
  std::string prompt;
};

Console &console_of(EditLine *editor) {
  void *console = nullptr;
  el_get(editor, EL_CLIENTDATA, &console);
  return *static_cast<Console *>(console);
}

char *prompt(EditLine *editor) {
  Console &console = console_of(editor);
  console.prompt = console.session.prompt();
  return console.prompt.data();
}

std::string typed_line(EditLine *editor) {
  const LineInfo *line = el_line(editor);
  return {line->buffer, line->cursor};
}

/// The choices after the typed text; none for a line that is not accepted as text.
std::vector<Choice> choices_of(EditLine *editor) {
  return console_of(editor).session.choices_for(typed_line(editor)).value_or(std::vector<Choice>());
}

unsigned char list(EditLine *editor, int) {
  std::printf("?\n%s", choices_text(choices_of(editor)).c_str());
  return CC_REDISPLAY;
}

std::string common_beginning(const std::vector<Choice> &choices) {
  std::string common = choices.front().text;
  for (const Choice &choice : choices) {
    const auto differ = std::mismatch(common.begin(), common.end(), choice.text.begin(), choice.text.end());
    common.erase(differ.first, common.end());
  }
  return common;
}

unsigned char complete(EditLine *editor, int) {
  const std::vector<Choice> choices = choices_of(editor);
  const std::string line = typed_line(editor);
  const std::size_t blank = line.find_last_of(" ;");
  const std::size_t typed = blank == std::string::npos ? line.size() : line.size() - blank - 1;
  if (choices.empty() || choices.front().text == "<cr>" || std::isupper(choices.front().text.front()) != 0) {
    return CC_REFRESH_BEEP;
  }
  const std::string addition = common_beginning(choices).substr(typed) + (choices.size() == 1 ? " " : "");
  if (addition.empty()) {
    std::printf("\n%s", choices_text(choices).c_str());
    return CC_REDISPLAY;
  }
  el_insertstr(editor, addition.c_str());
  return CC_REFRESH;
}

void configure(EditLine *editor, Console &console, History *history) {
  el_set(editor, EL_CLIENTDATA, &console);
  el_set(editor, EL_PROMPT, prompt);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_HIST, ::history, history);
  // Wide, because el_set would copy the texts, and el_end does not free the copies.
  el_wset(editor, EL_ADDFN, L"list-choices", L"List what can come next", list);
  el_wset(editor, EL_ADDFN, L"complete-word", L"Complete the word", complete);
  el_set(editor, EL_BIND, "?", "list-choices", nullptr);
  el_set(editor, EL_BIND, "\t", "complete-word", nullptr);
}

void interrupted(int) {}

/// Makes Ctrl-C interrupt the reading of a line instead of ending the shell.
void catch_interrupts() {
  struct sigaction action {};
  action.sa_handler = interrupted;
  sigaction(SIGINT, &action, nullptr);
}

}  // namespace

host::Result<> run_terminal(Session &session) {
  catch_interrupts();
  const std::unique_ptr<EditLine, EndEditor> editor(el_init("cush", stdin, stdout, stderr));
  const std::unique_ptr<History, EndHistory> history(history_init());
  if (!editor || !history) {
    return host::failure("The terminal cannot be used for editing; give commands with -c.");
  }
  Console console{session, {}};
  HistEvent event{};
  ::history(history.get(), &event, H_SETSIZE, history_lines);
  ::history(history.get(), &event, H_SETUNIQUE, 1);
  configure(editor.get(), console, history.get());

  while (!session.ended()) {
    int length = 0;
    const char *line = el_gets(editor.get(), &length);
    if (line == nullptr && length < 0 && errno == EINTR) {
      std::printf("\n");
      el_reset(editor.get());
      continue;
    }
    if (line == nullptr || length <= 0) {
      std::printf("\n");
      return {};
    }
    if (std::string_view(line).find_first_not_of(" \t\r\n") != std::string_view::npos) {
      ::history(history.get(), &event, H_ENTER, line);
    }
    session.run_line({line, static_cast<std::size_t>(length)});
  }
  return {};
}

}  // namespace shell
