#include "host/shell/output.h"

#include <gtest/gtest.h>

namespace shell {
namespace {

Output counters() {
  return {{{1, "interface", "Interface", ColumnType::interface},
           {2, "tx_unicast", "Tx unicast", ColumnType::number}},
          {{"ethernet 1/3", 7u}, {"port-channel 12", 3755744309u}},
          "No active interfaces.",
          {}};
}

TEST(Table, IsAlignedUnderItsHead) {
  EXPECT_EQ(render_text(counters(), false),
            "Interface        Tx unicast\n"
            "ethernet 1/3              7\n"
            "port-channel 12  3755744309\n");
}

TEST(Table, HeadIsSetOffOnATerminalOnly) {
  EXPECT_TRUE(render_text(counters(), true).starts_with("\033[1mInterface        Tx unicast\033[0m\n"));
}

TEST(Table, WithoutRowsIsANote) {
  Output result = counters();
  result.rows.clear();
  EXPECT_EQ(render_text(result, true), "No active interfaces.\n");
}

TEST(Json, HasOneShapeForEveryOutcome) {
  Output result = counters();
  result.rows.pop_back();
  EXPECT_EQ(render_json("show counters", result),
            "{\"version\":1,\"command\":\"show counters\",\"ok\":true,"
            "\"rows\":[{\"interface\":\"ethernet 1/3\",\"tx_unicast\":7}],\"text\":\"\",\"error\":\"\","
            "\"rejected\":[]}\n");
  EXPECT_EQ(render_json("copy running-config startup-config", Output{}),
            "{\"version\":1,\"command\":\"copy running-config startup-config\",\"ok\":true,\"rows\":[],"
            "\"text\":\"\",\"error\":\"\",\"rejected\":[]}\n");
  EXPECT_EQ(
      render_json("vlan 5 cin", CommandFailure(host::Failure("No."), {{5, 7}})),
      "{\"version\":1,\"command\":\"vlan 5 cin\",\"ok\":false,\"rows\":[],\"text\":\"\",\"error\":\"No.\","
      "\"rejected\":[{\"first\":5,\"last\":7}]}\n");
}

TEST(Json, SurvivesBytesThatAreNoText) {
  EXPECT_NE(render_json("x", CommandFailure(host::Failure("\xff\xfe"))).find("\"error\":\"\xEF\xBF\xBD"),
            std::string::npos);
}

TEST(Failure, IsASentenceAndWhatWasRejected) {
  EXPECT_EQ(render_failure(CommandFailure(host::Failure("No."))), "No.\n");
  EXPECT_EQ(render_failure(CommandFailure(host::Failure("No."), {{5, 7}, {9, 9}})), "No.\nRejected: 5-7,9\n");
}

}  // namespace
}  // namespace shell
