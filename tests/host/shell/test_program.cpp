// The program itself: its options, its input, its two output streams, and its exit status.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "host/shell/parser.h"
#include "tests/host/shell/scripted_peers.h"

namespace {

using namespace opal;

struct Outcome {
  int status = -1;
  std::string output;  ///< of both streams
};

class ProgramTest : public testing::Test {
 protected:
  ProgramTest() {
    peers.register_trees({"tesk"});
    peers.answer(bus::opcode::cush_command, bus::encode_command_answer({}));
    peers.answer(bus::opcode::save, bus::Payload(4));
  }

  /// Runs the program through the system's shell.
  Outcome run(const std::string &arguments) {
    const std::string line = "OPAL_RUN_DIR=" + peers.run_folder().string() + " CUSH_TREES=" TREES_FOLDER " " +
                             CUSH_PROGRAM + " " + arguments + " 2>&1";
    FILE *pipe = popen(line.c_str(), "r");
    Outcome outcome;
    std::array<char, 4096> buffer{};
    while (const std::size_t size = fread(buffer.data(), 1, buffer.size(), pipe)) {
      outcome.output.append(buffer.data(), size);
    }
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
  }

  Outcome run_script(const std::string &script, const std::string &arguments = "") {
    const auto file = peers.run_folder() / "script";
    std::ofstream(file, std::ios::binary) << script;
    return run(arguments + " < " + file.string());
  }

  std::size_t saves() const { return peers.asked(bus::opcode::save).size(); }

  shell_test::ScriptedPeers peers;
};

TEST_F(ProgramTest, CarriesOutLinesInOrder) {
  const Outcome outcome = run("-c 'show cin vlans; copy run start' -c 'sh co'");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "No CIN VLANs configured.\nNo active interfaces.\n");
  EXPECT_EQ(saves(), 1u);
}

TEST_F(ProgramTest, LinesShareTheContext) {
  EXPECT_EQ(run("-c 'vlan 100' -c cin").status, 0);
  EXPECT_EQ(peers.asked(bus::opcode::cush_command).size(), 1u);
}

TEST_F(ProgramTest, ReadsAScriptUntilTheFirstFailure) {
  const Outcome outcome = run_script("# a comment\n\nshow cin vlans\nreboot\ncopy run start\n");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output,
            "No CIN VLANs configured.\nThere is no command \"reboot\"; ? lists the commands.\n");
  EXPECT_EQ(saves(), 0u);
}

TEST_F(ProgramTest, KeepsGoingWhenTold) {
  EXPECT_EQ(run_script("reboot\ncopy run start\n", "--keep-going").status, 2);
  EXPECT_EQ(saves(), 1u);
}

TEST_F(ProgramTest, TakesALastLineWithoutItsEndAndStopsAtExit) {
  EXPECT_EQ(run_script("copy run start").status, 0);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(run_script("exit\ncopy run start\n").status, 0);
  EXPECT_EQ(saves(), 1u);
}

TEST_F(ProgramTest, RefusesALineOverTheLimitAndGoesOnBehindIt) {
  const Outcome outcome =
      run_script(std::string(100000, 'a') + "\n" + std::string(shell::line_limit, '!') + "\ncopy run start\n",
                 "--keep-going");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.output.find("at most 2048 are accepted.\n"), std::string::npos);
  EXPECT_EQ(saves(), 1u);
}

TEST_F(ProgramTest, RefusesBytesThatAreNoText) {
  const Outcome outcome = run_script(std::string("show\0 counters\n", 15));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "The line has a control character; only text is accepted.\n");
}

TEST_F(ProgramTest, RefusesAWrongOption) {
  const Outcome outcome = run("--colour");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output.substr(0, 6), "cush: ");
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1);
}

TEST_F(ProgramTest, FailsOutsideAnyChassis) {
  std::filesystem::remove_all(peers.run_folder() / "bus");
  const Outcome outcome = run("-c 'show counters'");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output.substr(0, 29), "cush: There is no chassis her");
}

TEST_F(ProgramTest, FailsWhenItsOutputCannotBeWritten) {
  EXPECT_EQ(run("-c 'show counters' > /dev/full").status, 1);
}

TEST_F(ProgramTest, ShowsHelpAndVersion) {
  EXPECT_EQ(run("--help").status, 0);
  EXPECT_EQ(run("--version").output.substr(0, 5), "cush ");
}

}  // namespace
