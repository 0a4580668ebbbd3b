#include "host/shell/parser.h"

#include <gtest/gtest.h>

#include "host/shell/command_failure.h"
#include "tests/host/shell/trees.h"
#include "tests/host/system/results.h"

namespace shell {
namespace {

using host::test::sentence_of;

Words words_of(const std::string &line) {
  const std::vector<Words> commands = split_line(line).value();
  return commands.empty() ? Words{} : commands.front();
}

struct Case {
  const char *line;
  const char *syntax;
  bool is_no;
  std::map<std::string, std::string> arguments;
};

TEST(Parser, UnderstandsEveryCommandWholeAndShortened) {
  const std::vector<Case> cases{
      {"show counters", "show counters [interface INTERFACES]", false, {}},
      {"sh co", "show counters [interface INTERFACES]", false, {}},
      {"sh co i 1/3", "show counters [interface INTERFACES]", false, {{"INTERFACES", "1/3"}}},
      {"show counters interface ethernet 1/3-5, port-channel 7",
       "show counters [interface INTERFACES]",
       false,
       {{"INTERFACES", "ethernet 1/3-5,port-channel 7"}}},
      {"sh cin vl", "show cin vlans", false, {}},
      {"vlan 100 cin", "[no] vlan VLANS cin", false, {{"VLANS", "100"}}},
      {"no vlan 100-105,200 cin", "[no] vlan VLANS cin", true, {{"VLANS", "100-105,200"}}},
      {"vl 100 , 200 ci", "[no] vlan VLANS cin", false, {{"VLANS", "100,200"}}},
      {"vlan 100", "vlan VLANS", false, {{"VLANS", "100"}}},
      {"debug tesk packet", "[no] debug tesk packet", false, {}},
      {"no deb te c", "[no] debug tesk control", true, {}},
      {"debug tesk all", "[no] debug tesk all", false, {}},
      {"tesk enable", "tesk enable", false, {}},
      {"tesk dis", "tesk disable", false, {}},
      {"show running-config", "show running-config [vlan VLANS]", false, {}},
      {"sh run all vlan 3-5", "show running-config all [vlan VLANS]", false, {{"VLANS", "3-5"}}},
      {"sh start v 7", "show startup-config [vlan VLANS]", false, {{"VLANS", "7"}}},
      {"show startup-config all", "show startup-config all [vlan VLANS]", false, {}},
      {"copy run start", "copy running-config startup-config", false, {}},
      {"  exit\t", "exit", false, {}},
      {"en", "end", false, {}},
      {"help", "help", false, {}},
  };
  for (const Case &one : cases) {
    const Parsed parsed = parse(tree(), words_of(one.line));
    ASSERT_EQ(parsed.kind, Parsed::Kind::complete) << one.line << ": " << parsed.mistake;
    EXPECT_EQ(parsed.command->syntax, one.syntax) << one.line;
    EXPECT_EQ(parsed.is_no, one.is_no) << one.line;
    EXPECT_EQ(parsed.arguments, one.arguments) << one.line;
  }
}

TEST(Parser, WritesShortenedWordsOut) {
  EXPECT_EQ(parse(tree(), {"sh", "run", "al"}).words, (Words{"show", "running-config", "all"}));
}

struct Mistake {
  const char *line;
  const char *sentence;
};

TEST(Parser, SaysWhatIsWrongWithALine) {
  const std::vector<Mistake> cases{
      {"reboot", "There is no command \"reboot\"; ? lists the commands."},
      {"show c", "\"c\" is ambiguous: it can be cin or counters."},
      {"e", "\"e\" is ambiguous: it can be end or exit."},
      {"sh", "\"show\" is not complete: cin or counters or running-config or startup-config must follow."},
      {"vlan", "\"vlan\" is not complete: VLANS must follow."},
      {"sh co int", "\"show counters interface\" is not complete: INTERFACES must follow."},
      {"sh cin vlans 3", "\"3\" cannot follow \"show cin vlans\"; \"show cin vlans ?\" lists what can."},
      {"no show counters", "\"show\" cannot follow \"no\"; \"no ?\" lists what can."},
      {"SHOW counters", "There is no command \"SHOW\"; ? lists the commands."},
  };
  for (const Mistake &one : cases) {
    const Parsed parsed = parse(tree(), words_of(one.line));
    EXPECT_NE(parsed.kind, Parsed::Kind::complete) << one.line;
    EXPECT_EQ(parsed.mistake, one.sentence) << one.line;
  }
}

TEST(Parser, ListsWhatMayFollow) {
  EXPECT_EQ(choices(tree(), {"show"}, "c"),
            (std::vector<Choice>{{"cin", "Show chassis internal network (CIN) VLANs"},
                                 {"counters", "Show the frames that the relay counted on each port"}}));
  EXPECT_EQ(choices(tree(), {"show", "counters"}, ""),
            (std::vector<Choice>{{"<cr>", "Run the command"}, {"interface", "Show only these interfaces"}}));
  EXPECT_EQ(choices(tree(), {"vlan"}, ""),
            (std::vector<Choice>{{"VLANS", "Enter VLANs from 1 to 4095, such as 3-5,200"}}));
  EXPECT_TRUE(choices(tree(), {"reboot"}, "").empty());
  for (const Choice &choice : choices(tree(), {}, "")) {
    EXPECT_FALSE(choice.help.empty()) << choice.text;
  }
}

TEST(Line, IsSplitIntoCommandsAndWords) {
  EXPECT_EQ(split_line(" a  b ;; c,  d ,e ; "), (std::vector<Words>{{"a", "b"}, {"c,d,e"}}));
  EXPECT_EQ(split_line("a b ! rest; c"), (std::vector<Words>{{"a", "b"}}));
  EXPECT_EQ(split_line(""), std::vector<Words>());
  EXPECT_EQ(split_line("  # nothing"), std::vector<Words>());
  EXPECT_EQ(split_line(";;;"), std::vector<Words>());
}

TEST(Line, OverItsLimitOrWithControlCharactersIsRefused) {
  EXPECT_EQ(split_line(std::string(line_limit, 'a')).value().size(), 1u);
  EXPECT_EQ(sentence_of(split_line(std::string(line_limit + 1, 'a'))),
            "The line has 2049 characters; at most 2048 are accepted.");
  for (const std::string_view line : {std::string_view("show\0all", 8), std::string_view("show \033[A")}) {
    EXPECT_EQ(sentence_of(split_line(line)), "The line has a control character; only text is accepted.");
  }
}

}  // namespace
}  // namespace shell
