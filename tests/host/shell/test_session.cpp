#include "host/shell/session.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "tests/host/shell/scripted_peers.h"

namespace shell {
namespace {

using namespace opal;
using shell_test::ScriptedPeers;

class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    peers.register_trees({"tesk"});
    peers.answer(bus::opcode::cush_command, bus::encode_command_answer({}));
    peers.answer(bus::opcode::ncfg_debug, bus::Payload(112));
    peers.answer(bus::opcode::ncfg_enable, bus::Payload(112));
    peers.answer(bus::opcode::save, bus::Payload(4));
    peers.answer(bus::opcode::show_config, bus::encode_config_text({0, "vlan 100\n  cin\n"}));
  }

  /// Runs a line and collects what it printed.
  Status run(const std::string &line) {
    out.str("");
    err.str("");
    return session.run_line(line);
  }

  bus::CommandView last_command() {
    payload = peers.asked(bus::opcode::cush_command).back();
    return *bus::decode_command(payload);
  }

  ScriptedPeers peers;
  CommandTree tree = load_trees(TREES_FOLDER).value();
  BusClient bus_client = BusClient::open(peers.run_folder()).value();
  std::ostringstream out;
  std::ostringstream err;
  Session session{tree, bus_client, {}, out, err};
  bus::Payload payload;
};

TEST_F(SessionTest, ShowsWhatTheDaemonAnswers) {
  const std::array<std::uint32_t, 2> vlans{200, 100};
  bus::CommandAnswerView answer;
  for (const std::uint32_t &vlan : vlans) {
    answer.attributes.push_back({0x14C2000B, bus::AttributeKind::value, bus::bytes_of(vlan)});
  }
  peers.answer(bus::opcode::cush_command, bus::encode_command_answer(answer));
  EXPECT_EQ(run("sh cin vl"), status_ok);
  EXPECT_EQ(out.str(), "CIN VLAN\n     200\n     100\n");
  EXPECT_EQ(err.str(), "");
  EXPECT_EQ(last_command().id, 2u);
}

TEST_F(SessionTest, NotesAnEmptyList) {
  EXPECT_EQ(run("show cin vlans"), status_ok);
  EXPECT_EQ(out.str(), "No CIN VLANs configured.\n");
  EXPECT_EQ(run("show counters"), status_ok);
  EXPECT_EQ(out.str(), "No active interfaces.\n");
}

TEST_F(SessionTest, IsSilentWhenThereIsNothingToShow) {
  EXPECT_EQ(run("vlan 100 cin; debug tesk packet; tesk disable; copy run start"), status_ok);
  EXPECT_EQ(out.str() + err.str(), "");
  EXPECT_EQ(peers.asked(bus::opcode::save).size(), 1u);
  EXPECT_EQ(peers.asked(bus::opcode::ncfg_debug).size(), 1u);
  EXPECT_EQ(peers.asked(bus::opcode::ncfg_enable).size(), 1u);
}

TEST_F(SessionTest, ShowsARefusalAndWhatWasRejected) {
  const std::array<std::uint32_t, 2> rejected{2, 2};
  bus::CommandAnswerView answer{false, "Failed to configure VLAN(s) 2 as CIN VLAN(s)\n", {}};
  answer.attributes.push_back({0x13030007, bus::AttributeKind::rejected_range, bus::bytes_of(rejected)});
  peers.answer(bus::opcode::cush_command, bus::encode_command_answer(answer));
  EXPECT_EQ(run("vlan 2-5 cin"), status_failed);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(err.str(), "Failed to configure VLAN(s) 2 as CIN VLAN(s)\nRejected: 2\n");
}

TEST_F(SessionTest, PrintsTheConfigurationAsItCame) {
  EXPECT_EQ(run("show running-config vlan 100"), status_ok);
  EXPECT_EQ(out.str(), "vlan 100\n  cin\n");
}

TEST_F(SessionTest, ContinuesAContextUntilItIsLeft) {
  EXPECT_EQ(session.prompt(), "switch# ");
  EXPECT_EQ(run("vl 100-105"), status_ok);
  EXPECT_EQ(session.prompt(), "switch(vlan 100-105)# ");
  EXPECT_TRUE(peers.asked(bus::opcode::cush_command).empty());

  EXPECT_EQ(run("cin"), status_ok);
  EXPECT_EQ(last_command().id, 3u);
  EXPECT_FALSE(last_command().is_del);
  const auto lower = bus::Reader(last_command().attributes[0].value.subspan(8)).record<std::uint32_t>();
  EXPECT_EQ(lower, 100u);

  EXPECT_EQ(run("no ci"), status_ok);
  EXPECT_TRUE(last_command().is_del);

  EXPECT_EQ(run("show cin vlans"), status_ok);  // commands of the top level stay available
  EXPECT_EQ(last_command().id, 2u);
  EXPECT_EQ(run("vlan 7"), status_ok);
  EXPECT_EQ(session.prompt(), "switch(vlan 7)# ");
  EXPECT_EQ(run("exit"), status_ok);
  EXPECT_EQ(session.prompt(), "switch# ");
  EXPECT_FALSE(session.ended());
  EXPECT_EQ(run("cin"), status_syntax);
  EXPECT_EQ(run("vlan 7; end"), status_ok);
  EXPECT_EQ(session.prompt(), "switch# ");
  EXPECT_EQ(run("end"), status_ok);
  EXPECT_FALSE(session.ended());
  EXPECT_EQ(run("exit; show cin vlans"), status_ok);
  EXPECT_TRUE(session.ended());
  EXPECT_EQ(out.str(), "");
}

TEST_F(SessionTest, RefusesABadListWithoutAskingAnybody) {
  EXPECT_EQ(run("vlan 5-3 cin"), status_syntax);
  EXPECT_EQ(run("vlan 4096"), status_syntax);
  EXPECT_EQ(session.prompt(), "switch# ");
  EXPECT_EQ(run("show counters interface 1/0"), status_syntax);
  EXPECT_EQ(run("show running-config vlan 0"), status_syntax);
  EXPECT_TRUE(peers.asked(bus::opcode::cush_command).empty());
  EXPECT_TRUE(peers.asked(bus::opcode::show_config).empty());
}

TEST_F(SessionTest, StopsALineAtTheFirstFailureUnlessToldToGoOn) {
  EXPECT_EQ(run("reboot; copy run start"), status_syntax);
  EXPECT_TRUE(peers.asked(bus::opcode::save).empty());

  SessionOptions options;
  options.keep_going = true;
  Session patient(tree, bus_client, options, out, err);
  EXPECT_EQ(patient.run_line("reboot; copy run start"), status_syntax);
  EXPECT_EQ(peers.asked(bus::opcode::save).size(), 1u);
}

TEST_F(SessionTest, ListsWhatMayStandNext) {
  EXPECT_EQ(run("debug tesk ?"), status_ok);
  EXPECT_EQ(out.str(),
            "  all      Print debug messages of all categories\n"
            "  control  Print debug messages for every message and state change\n"
            "  packet   Print debug messages for every frame\n");
  EXPECT_EQ(run("sh st?"), status_ok);
  EXPECT_EQ(out.str(), "  startup-config  Show the configuration that the next start uses\n");
  EXPECT_EQ(run("reboot ?"), status_syntax);
  EXPECT_EQ(run("vlan 7"), status_ok);
  EXPECT_EQ(run("c?"), status_ok);
  EXPECT_EQ(out.str(),
            "  cin   Configure as chassis internal network (CIN) VLANs\n"
            "  copy  Save a configuration\n");
}

TEST_F(SessionTest, HelpNamesEveryCommand) {
  EXPECT_EQ(run("help"), status_ok);
  for (const Command &command : tree.commands) {
    EXPECT_NE(out.str().find("  " + command.syntax + "\n"), std::string::npos);
  }
}

TEST_F(SessionTest, GivesProgramsOneDocumentPerCommand) {
  SessionOptions options;
  options.json = true;
  Session machine(tree, bus_client, options, out, err);
  EXPECT_EQ(machine.run_line("sh cin vl; reboot"), status_syntax);
  EXPECT_EQ(
      out.str(),
      "{\"version\":1,\"command\":\"show cin vlans\",\"ok\":true,\"rows\":[],\"text\":\"\",\"error\":\"\","
      "\"rejected\":[]}\n"
      "{\"version\":1,\"command\":\"reboot\",\"ok\":false,\"rows\":[],\"text\":\"\",\"error\":\"There is no "
      "command \\\"reboot\\\"; ? lists the commands.\",\"rejected\":[]}\n");
}

TEST_F(SessionTest, GivesProgramsADocumentForALineThatCannotBeRead) {
  SessionOptions options;
  options.json = true;
  Session machine(tree, bus_client, options, out, err);
  EXPECT_EQ(machine.run_line("show \033[A"), status_syntax);
  EXPECT_EQ(
      out.str(),
      "{\"version\":1,\"command\":\"\",\"ok\":false,\"rows\":[],\"text\":\"\",\"error\":\"The line has a "
      "control character; only text is accepted.\",\"rejected\":[]}\n");
}

TEST_F(SessionTest, SaysWhenNoProgramServesACommand) {
  peers.register_trees({"other"});
  EXPECT_EQ(run("show counters"), status_failed);
  EXPECT_EQ(err.str(), "No program serves this command: \"tesk\" has not registered.\n");
  EXPECT_EQ(run("show running-config"), status_ok);
}

TEST_F(SessionTest, SaysWhenTheProgramIsGone) {
  peers.remove(bus::address::tesk);
  EXPECT_EQ(run("show counters"), status_failed);
  EXPECT_EQ(err.str(), "tesk is not running.\n");
  peers.remove(bus::address::cush);
  EXPECT_EQ(run("show counters"), status_failed);
  EXPECT_EQ(err.str(), "The registry of commands is not running.\n");
}

class SilentPeersTest : public SessionTest {
 protected:
  SilentPeersTest() { silent.register_trees({"tesk"}); }
  ScriptedPeers silent;
};

TEST_F(SilentPeersTest, AreGivenUpAfterTwoSeconds) {
  BusClient patient = BusClient::open(silent.run_folder()).value();
  Session waiting(tree, patient, {}, out, err);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(waiting.run_line("tesk enable"), status_failed);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(err.str(), "tesk did not answer within 2 s.\n");
  EXPECT_GE(waited, std::chrono::milliseconds(1990));
  EXPECT_LT(waited, std::chrono::seconds(4));
  EXPECT_EQ(silent.asked(bus::opcode::ncfg_enable).size(), 1u);
}

TEST_F(SessionTest, AnswerThatCannotBeReadIsOneSentence) {
  peers.answer(bus::opcode::cush_command, bus::Payload(7));
  EXPECT_EQ(run("show counters"), status_failed);
  EXPECT_EQ(err.str(), "The answer is malformed; none of it is shown.\n");
  peers.answer(bus::opcode::list_parse_trees, bus::Payload(5));
  EXPECT_EQ(run("show counters"), status_failed);
  EXPECT_EQ(err.str(), "The registry of commands sent a malformed answer.\n");
}

TEST(BusClient, OutsideAnyChassisIsRefused) {
  const host::Result<BusClient> bus_client = BusClient::open("/nonexistent");
  ASSERT_FALSE(bus_client);
  EXPECT_EQ(status_of(bus_client.error()), status_failed);
  EXPECT_EQ(bus_client.error().what.find("There is no chassis here (/nonexistent/bus does not exist)"), 0u);
}

}  // namespace
}  // namespace shell
