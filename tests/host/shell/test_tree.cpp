#include "host/shell/command_tree.h"

#include <gtest/gtest.h>

#include "host/shell/command_failure.h"
#include "tests/host/system/results.h"

namespace shell {
namespace {

std::string refusal(const std::string &json) {
  CommandTree tree;
  const host::Result<> added = add_tree(tree, "x.json", json);
  if (added) {
    return "accepted";
  }
  EXPECT_EQ(status_of(added.error()), status_failed);
  EXPECT_TRUE(tree.commands.empty() && tree.forms.empty() && tree.help.empty());
  return added.error().what;
}

TEST(Tree, IsReadWithItsMessage) {
  CommandTree tree;
  ASSERT_TRUE(add_tree(tree, "x.json",
                       R"({"version":1,"server":"x","help":{"a":"A"},"commands":[
               {"syntax":"[no] a [b] VLANS","message":"ncfg","opcode":"0x20401","body":[{"bytes":2,"value":7,"no":8}]}]})"));
  ASSERT_EQ(tree.commands.size(), 1u);
  EXPECT_EQ(tree.commands[0].server, "x");
  EXPECT_EQ(tree.forms.size(), 4u);
  const auto &message = std::get<NcfgMessage>(tree.commands[0].action);
  EXPECT_EQ(message.opcode, 0x20401u);
  EXPECT_EQ(message.body[0].bytes, 2u);
  EXPECT_EQ(message.body[0].value, 7u);
  EXPECT_EQ(message.body[0].value_of_no, 8u);
}

TEST(Tree, WithAMistakeIsRefusedAsAWhole) {
  struct WrongTree {
    const char *json;
    const char *said;
  };
  const std::vector<WrongTree> cases{
      {"", "x.json: not a parse tree: "},
      {"[]", "\"version\" must be 1"},
      {R"({"version":2,"help":{},"commands":[]})", "\"version\" must be 1"},
      {R"({"version":1,"commands":[]})", "\"help\" is missing"},
      {R"({"version":1,"help":{},"commands":{}})", "\"commands\" must be a list"},
      {R"({"version":1,"help":{"a":"A"},"commands":[{"syntax":"a"}]})", "\"message\" is missing"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a","message":"shout"}]})",
       "\"message\" cannot be \"shout\""},
      {R"({"version":1,"help":{},"commands":[{"syntax":"","message":"save"}]})", "a syntax is empty"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a [b","message":"save"}]})", "has an open bracket"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a PORT","message":"save"}]})",
       "\"PORT\" is neither a word in lower case nor a known argument"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a","message":"command","id":-1}]})",
       "\"id\" must be a number"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a","message":"ncfg","opcode":"0xg"}]})",
       "\"opcode\" must be a number"},
      {R"({"version":1,"help":{},"commands":[{"syntax":"a","message":"ncfg","opcode":1,"body":[{"bytes":3,"value":1}]}]})",
       "\"bytes\" must be 1, 2 or 4"},
  };
  for (const WrongTree &one : cases) {
    EXPECT_NE(refusal(one.json).find(one.said), std::string::npos) << one.json << " -> " << refusal(one.json);
  }
}

TEST(Tree, FolderWithoutTreesIsRefused) {
  EXPECT_EQ(host::test::sentence_of(load_trees("/nonexistent")),
            "No parse trees in /nonexistent; set CUSH_TREES to the folder that holds them.");
}

}  // namespace
}  // namespace shell
