#include "host/chassis/model/description_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

Description parse(const std::string &text) {
  auto result = parse_description(text, "lab.yaml");
  EXPECT_EQ(sentence_of(result), "");
  return std::move(result).value_or(Description{});
}

std::string mistake(const std::string &text) {
  auto result = parse_description(text, "lab.yaml");
  return result ? "accepted" : result.error().what;
}

TEST(Description, TheDefaultIsAnEightyTwoWithFourBlades) {
  const Description description = default_description();
  EXPECT_EQ(description.board, Board::b82);
  ASSERT_EQ(description.ports.size(), 4U);
  EXPECT_EQ(description.ports[3].blade->name, "blade4");
  EXPECT_EQ(description.ports[3].blade->access[0].name, "sol0");
  EXPECT_EQ(description.ports[3].blade->access[0].address, "10.255.255.14/24");
  EXPECT_EQ(description.amm.access[1].name, "vlan100");
  EXPECT_EQ(description.amm.access[1].address, "10.0.100.1/24");
}

TEST(Description, EverythingThatCanBeSaidIsRead) {
  const Description description = parse(R"(
name: lab
board: 83
amm:
  vlans: [4095, 300]
  addresses: {300: 192.0.2.1/28, 4095: none}
ports:
  - {port: 1, blade: web, vlans: [4095, 300], link: down}
  - {port: 5, attach: eth1}
  - {port: 3, blade: left}
port_channels:
  - {channel: 7, members: [3, 4], vlans: [4095, 100]}
incompatible:
  - vlan: 300
)");
  EXPECT_EQ(description.name, "lab");
  EXPECT_EQ(description.board, Board::b83);
  EXPECT_EQ(description.amm.access[0].address, "");
  EXPECT_EQ(description.amm.access[1].address, "192.0.2.1/28");
  ASSERT_EQ(description.ports.size(), 4U);
  EXPECT_FALSE(description.ports[0].link_up);
  EXPECT_EQ(description.ports[0].blade->access[1].address, "10.1.44.11/24");
  EXPECT_EQ(description.ports[1].attach, "eth1");
  EXPECT_EQ(description.ports[1].vlans, std::vector<VlanId>{sol_vlan});
  EXPECT_EQ(description.ports[2].vlans, (std::vector<VlanId>{sol_vlan, {100}}));
  EXPECT_EQ(description.ports[3].port, FrontPort{4});
  EXPECT_EQ(description.port_channels[0].channel, 7);
  EXPECT_EQ(description.incompatible, std::vector<VlanId>{{300}});
}

TEST(Description, TheAmmHasTheVlansOfAllPortsWhenNothingElseIsSaid) {
  const Description description = parse("ports: [{port: 1, vlans: [7, 9]}]");
  ASSERT_EQ(description.amm.access.size(), 3U);
  EXPECT_EQ(description.amm.access[0].name, "sol0");
  EXPECT_EQ(description.amm.access[1].name, "vlan9");
}

TEST(Description, AnEmptyTextIsTheDefault) { EXPECT_EQ(parse("# nothing\n").ports.size(), 4U); }

TEST(Description, EveryMistakeIsToldWithItsLine) {
  struct Row {
    const char *text;
    const char *told;
  };
  const Row rows[] = {
      {"7", "lab.yaml:1: a chassis is a map, not '7'"},
      {"\nboard: 84", "lab.yaml:2: 'board' is 82 or 83, not '84'"},
      {"bord: 82",
       "lab.yaml:1: a chassis has no 'bord'; it may have name, board, amm, ports, port_channels, "
       "incompatible"},
      {"name: a/b", "lab.yaml:1: a chassis's name is 1 to 32 letters, digits, '-' and '_', not 'a/b'"},
      {"name: x\nname: y", "lab.yaml:2: 'name' is defined twice"},
      {"ports: 3", "lab.yaml:1: 'ports' is a list, not '3'"},
      {"ports:\n  - blade: b", "lab.yaml:2: 'port' is missing here"},
      {"ports:\n  - port: 21", "lab.yaml:2: a port is a number from 1 to 20, not '21'"},
      {"ports:\n  - port: 0", "lab.yaml:2: a port is a number from 1 to 20, not '0'"},
      {"ports:\n  - port: -1", "lab.yaml:2: a port is a number from 1 to 20, not '-1'"},
      {"ports:\n  - port: [1]", "lab.yaml:2: a port is a number from 1 to 20, not a list"},
      {"ports:\n  - port: 1\n  - port: 1", "lab.yaml:3: port 1 is defined twice"},
      {"ports:\n  - port: 1\n    blade: b\n    attach: eth1",
       "lab.yaml:4: a port has a blade or is attached to an interface, not both"},
      {"ports:\n  - port: 1\n    blade: amm", "lab.yaml:3: 'amm' is the name of another node"},
      {"ports:\n  - {port: 1, blade: b}\n  - {port: 2, blade: b}",
       "lab.yaml:3: blade 'b' is already at another port"},
      {"ports:\n  - {port: 1, attach: e}\n  - {port: 2, attach: e}",
       "lab.yaml:3: interface e is already attached to another port"},
      {"ports:\n  - {port: 1, attach: ethernet-number-one}",
       "lab.yaml:2: an interface's name is 1 to 15 characters, not 'ethernet-number-one'"},
      {"ports:\n  - port: 1\n    link: maybe", "lab.yaml:3: 'link' is up or down, not 'maybe'"},
      {"ports:\n  - port: 1\n    vlans: [1, 4096]",
       "lab.yaml:3: a VLAN is a number from 1 to 4095, not '4096'"},
      {"ports:\n  - port: 1\n    vlans: [5, 5]", "lab.yaml:3: VLAN 5 is listed twice"},
      {"ports:\n  - port: 1\n    addresses: {}", "lab.yaml:3: only a blade has addresses"},
      {"amm:\n  vlans: [5]\n  addresses: {6: 10.0.0.1/24}",
       "lab.yaml:3: amm has no VLAN 6; add it to its vlans"},
      {"amm:\n  vlans: [5]\n  addresses: {5: 10.0.0.1}",
       "lab.yaml:3: an address is written like 10.0.100.1/24, or none; not '10.0.0.1'"},
      {"amm:\n  vlans: [5]\n  addresses: {5: 10.0.0.1/33}",
       "lab.yaml:3: an address is written like 10.0.100.1/24, or none; not '10.0.0.1/33'"},
      {"port_channels:\n  - {channel: 0, members: [1], vlans: []}",
       "lab.yaml:2: a port-channel is a number from 1 to 4096, not '0'"},
      {"port_channels:\n  - {channel: 1, members: [], vlans: []}",
       "lab.yaml:2: a port-channel has at least one member"},
      {"port_channels:\n  - {channel: 1, vlans: []}", "lab.yaml:2: 'members' is missing here"},
      {"port_channels:\n  - {channel: 1, members: [3, 3], vlans: []}",
       "lab.yaml:2: port 3 is already a member of a port-channel"},
      {"port_channels:\n  - {channel: 1, members: [3], vlans: []}\nports:\n  - {port: 3, vlans: [7]}",
       "lab.yaml:4: port 3 carries the VLANs of its port-channel; remove its own 'vlans'"},
      {"incompatible: [300]", "lab.yaml:1: an incompatible VLAN is a map, not '300'"},
  };
  for (const Row &row : rows) EXPECT_EQ(mistake(row.text), row.told) << row.text;
}

TEST(Description, WhatIsNotYamlIsToldWithItsLine) {
  EXPECT_EQ(mistake("name: x\nports: [").rfind("lab.yaml:2: not YAML: ", 0), 0U)
      << mistake("name: x\nports: [");
  EXPECT_EQ(mistake(std::string(100000, '[')).rfind("lab.yaml:1: not YAML: ", 0), 0U);
}

TEST(Description, TooManyVlansAreRefused) {
  std::string vlans;
  for (int vlan = 1; vlan <= 65; ++vlan) vlans += std::to_string(vlan) + ",";
  EXPECT_EQ(mistake("ports: [{port: 1, vlans: [" + vlans + "]}]"), "lab.yaml:1: a node has at most 64 VLANs");
}

struct DescriptionFile : testing::Test {
  DescriptionFile()
      : file(std::filesystem::temp_directory_path() / ("description" + std::to_string(getpid()))) {}
  ~DescriptionFile() override { std::filesystem::remove(file); }
  std::string told() {
    auto result = read_description(file);
    return result ? "accepted" : result.error().what;
  }
  std::filesystem::path file;
};

TEST_F(DescriptionFile, AMissingFileAndAFolderAreToldByName) {
  EXPECT_EQ(told(), file.string() + ":1: cannot be read: No such file or directory");
  file = "/";
  EXPECT_EQ(told(), "/:1: a chassis description must be a regular file");
  file = "";
}

TEST_F(DescriptionFile, AFileOverTheLimitIsRefused) {
  std::ofstream(file) << std::string((1 << 20) + 1, '#');
  EXPECT_EQ(told(), file.string() + ":1: a description has at most 1048576 bytes");
}

TEST_F(DescriptionFile, TheExamplesAreRight) {
  for (const char *name : {"default.yaml", "board83.yaml", "port-channel.yaml"}) {
    auto result = read_description(std::filesystem::path(EXAMPLES) / name);
    EXPECT_EQ(sentence_of(result), "");
  }
}

TEST(Description, TheDefaultExampleIsTheBuiltInDefault) {
  auto result = read_description(std::filesystem::path(EXAMPLES) / "default.yaml");
  const Description &read = result.value();
  const Description built_in = default_description();
  ASSERT_EQ(read.ports.size(), built_in.ports.size());
  for (std::size_t index = 0; index < read.ports.size(); ++index) {
    EXPECT_EQ(read.ports[index].blade->name, built_in.ports[index].blade->name);
    EXPECT_EQ(read.ports[index].vlans, built_in.ports[index].vlans);
    EXPECT_EQ(read.ports[index].blade->access[2].address, built_in.ports[index].blade->access[2].address);
  }
  EXPECT_EQ(read.amm.access.size(), built_in.amm.access.size());
}

}  // namespace
}  // namespace chassis
