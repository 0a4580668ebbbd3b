#include "host/shell/messages.h"

#include <gtest/gtest.h>

#include "host/shell/lists.h"
#include "tests/host/shell/trees.h"
#include "tests/host/system/results.h"

namespace shell {
namespace {

using namespace opal;
using host::test::sentence_of;

constexpr const char *unreadable = "The answer is malformed; none of it is shown.";

Parsed parsed(const std::string &line) {
  Parsed result = parse(tree(), split_line(line).value().front());
  EXPECT_EQ(result.kind, Parsed::Kind::complete) << result.mistake;
  return result;
}

/// Bytes written as pairs of hexadecimal digits; "xN" repeats the byte before it.
std::vector<int> hex(const std::string &text) {
  std::vector<int> bytes;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (word[0] == 'x') {
      bytes.insert(bytes.end(), std::stoul(word.substr(1)) - 1, bytes.back());
    } else {
      bytes.push_back(std::stoi(word, nullptr, 16));
    }
  }
  return bytes;
}

std::vector<int> bytes(const bus::Payload &payload) {
  std::vector<int> values;
  for (const std::byte byte : payload) {
    values.push_back(std::to_integer<int>(byte));
  }
  return values;
}

std::vector<int> command_bytes(const std::string &line) {
  const Parsed result = parsed(line);
  return bytes(command_payload(std::get<CommandMessage>(result.command->action), result).value());
}

std::vector<int> ncfg_bytes(const std::string &line) {
  const Parsed result = parsed(line);
  return bytes(ncfg_payload(std::get<NcfgMessage>(result.command->action), result.is_no));
}

// The numbers below are in the byte order of a little-endian host.

TEST(CommandPayload, OfShowCommandsIsTheBareHeader) {
  EXPECT_EQ(command_bytes("show counters"), hex("01 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00"));
  EXPECT_EQ(command_bytes("show cin vlans"), hex("01 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00"));
}

TEST(CommandPayload, CarriesInterfacesAsOnlyTheRangesTyped) {
  EXPECT_EQ(command_bytes("show counters interface ethernet 1/3-5"),
            hex("01 00 00 00 01 00 00 00 00 00 00 00 01 00 00 00 "  // version, id, is_del, attributes
                "03 00 c2 0e 14 00 00 00 00 00 00 00 00 00 00 00 "  // attribute, length, kind, reserved
                "14 00 00 00 01 00 00 00 00 00 00 04 "              // size, range_count, mask
                "02 00 00 1a 04 00 00 1a "                          // lower, upper
                "00 00 00 00"));                                    // padding
  EXPECT_EQ(command_bytes("show counters interface 1/1,port-channel 7"),
            hex("01 00 00 00 01 00 00 00 00 00 00 00 01 00 00 00 "
                "03 00 c2 0e 1c 00 00 00 00 00 00 00 00 00 00 00 "
                "1c 00 00 00 02 00 00 00 00 00 40 04 "
                "00 00 00 1a 00 00 00 1a 07 00 00 16 07 00 00 16 "
                "00 00 00 00"));
}

TEST(CommandPayload, CarriesVlansAsTheWholeRecord) {
  EXPECT_EQ(command_bytes("vlan 100-105,200 cin"),
            hex("01 00 00 00 03 00 00 00 00 00 00 00 01 00 00 00 "
                "07 00 03 13 08 02 00 00 00 00 00 00 00 00 00 00 "  // 520 bytes
                "00 00 00 00 02 00 00 00 "                          // size, range_count
                "64 00 00 00 69 00 00 00 c8 00 00 00 c8 00 00 00 "  // two of the 64 ranges
                "00 x496"));
}

TEST(CommandPayload, MarksTheNoForm) {
  EXPECT_EQ(command_bytes("no vlan 3 cin"), hex("01 00 00 00 03 00 00 00 01 00 00 00 01 00 00 00 "
                                                "07 00 03 13 08 02 00 00 00 00 00 00 00 00 00 00 "
                                                "00 00 00 00 01 00 00 00 03 00 00 00 03 00 00 00 00 x504"));
}

TEST(NcfgPayload, OfDebugSwitches) {
  EXPECT_EQ(ncfg_bytes("debug tesk packet"), hex("03 00 00 00 02 00 00 00 00 00 00 00 00 x100 00 01"));
  EXPECT_EQ(ncfg_bytes("no debug tesk packet"), hex("04 00 00 00 02 00 00 00 00 00 00 00 00 x100 00 00"));
  EXPECT_EQ(ncfg_bytes("debug tesk control"), hex("03 00 00 00 02 00 00 00 00 00 00 00 00 x100 01 01"));
  EXPECT_EQ(ncfg_bytes("debug tesk all"), hex("03 00 00 00 02 00 00 00 00 00 00 00 00 x100 02 01"));
}

TEST(NcfgPayload, OfTheEnableSwitch) {
  EXPECT_EQ(ncfg_bytes("tesk enable"), hex("03 00 00 00 04 00 00 00 00 00 00 00 00 x100 01 00 00 00"));
  EXPECT_EQ(ncfg_bytes("tesk disable"), hex("03 00 00 00 04 00 00 00 00 00 00 00 00 x100 00 00 00 00"));
}

TEST(ShowConfigPayload, NamesTypeDisplayAndVlans) {
  const Parsed one = parsed("show startup-config all vlan 1,8-10");
  EXPECT_EQ(bytes(show_config_payload(std::get<ShowConfigMessage>(one.command->action), one).value()),
            hex("02 00 00 00 04 00 00 00 00 02 00 00 02 07 00 x510"));
  const Parsed all = parsed("show running-config");
  EXPECT_EQ(bytes(show_config_payload(std::get<ShowConfigMessage>(all.command->action), all).value()),
            hex("01 00 00 00 01 00 00 00 00 02 00 00 00 x512"));
}

const Table &counters_table() {
  return std::get<CommandMessage>(parsed("show counters").command->action).answer;
}

bus::Payload counters_answer(const std::vector<std::uint32_t> &values) {
  constexpr std::array<std::uint32_t, 5> ids{0x14C20004, 0x14C20006, 0x14C20007, 0x14C20008, 0x14C20009};
  bus::CommandAnswerView answer;
  for (std::size_t i = 0; i < values.size(); ++i) {
    answer.attributes.push_back({ids[i % ids.size()], bus::AttributeKind::value, bus::bytes_of(values[i])});
  }
  return bus::encode_command_answer(answer);
}

TEST(CommandAnswer, BecomesOneRowForEachRecord) {
  const Output result =
      read_command_answer(counters_table(),
                          counters_answer({0x1a000002, 1, 2, 3, 4, 0x05000000, 4294967295u, 0, 0, 9}))
          .value();
  ASSERT_EQ(result.rows.size(), 2u);
  EXPECT_EQ(result.rows[0], (std::vector<Cell>{"ethernet 1/3", 1u, 2u, 3u, 4u}));
  EXPECT_EQ(result.rows[1], (std::vector<Cell>{"mgmt0", 4294967295u, 0u, 0u, 9u}));
}

TEST(CommandAnswer, ThatIsIncompleteOrDisorderedIsRefused) {
  EXPECT_EQ(sentence_of(read_command_answer(counters_table(), counters_answer({0x1a000002, 1, 2, 3}))),
            unreadable);
  bus::CommandAnswerView answer;
  const std::uint64_t wide = 1;
  answer.attributes.push_back({0x14C20004, bus::AttributeKind::value, bus::bytes_of(wide)});
  EXPECT_EQ(sentence_of(read_command_answer(counters_table(), bus::encode_command_answer(answer))),
            unreadable);
  const std::uint32_t number = 1;
  answer.attributes = {{0x14C20006, bus::AttributeKind::value, bus::bytes_of(number)}};
  EXPECT_EQ(sentence_of(read_command_answer(counters_table(), bus::encode_command_answer(answer))),
            unreadable);
}

TEST(CommandAnswer, CutAnywhereIsRefused) {
  const bus::Payload whole = counters_answer({0x1a000002, 1, 2, 3, 4});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const bus::Payload cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(sentence_of(read_command_answer(counters_table(), cut)), unreadable) << size;
  }
}

TEST(CommandAnswer, ThatFailedSaysWhyAndWhatWasRejected) {
  const std::array<std::uint32_t, 4> rejected{5, 7, 9, 9};
  bus::CommandAnswerView answer{false, "Failed to configure VLAN(s) 5-7,9 as CIN VLAN(s)\n", {}};
  answer.attributes.push_back({0x13030007, bus::AttributeKind::rejected_range, bus::bytes_of(rejected)});
  const CommandResult<Output> read = read_command_answer({}, bus::encode_command_answer(answer));
  ASSERT_FALSE(read);
  EXPECT_EQ(read.error().what, "Failed to configure VLAN(s) 5-7,9 as CIN VLAN(s)");
  EXPECT_EQ(status_of(read.error()), status_failed);
  EXPECT_EQ(read.error().rejected, (std::vector<Range>{{5, 7}, {9, 9}}));
}

TEST(NcfgAnswer, IsReadByItsReturnCode) {
  bus::Payload answer(112);
  EXPECT_EQ(sentence_of(read_ncfg_answer(answer)), "");
  answer[8] = std::byte{5};
  EXPECT_EQ(sentence_of(read_ncfg_answer(answer)), "Refused with code 5.");
  EXPECT_EQ(sentence_of(read_ncfg_answer(bus::Payload(111))), unreadable);
}

TEST(ConfigText, IsTheTextOrTheReason) {
  EXPECT_EQ(read_config_text(bus::encode_config_text({0, "vlan 100\n  cin\n"})).value().text,
            "vlan 100\n  cin\n");
  EXPECT_EQ(
      sentence_of(read_config_text(bus::encode_config_text({7, "Failed to read Startup cfg for Tesk"}))),
      "Failed to read Startup cfg for Tesk");
  EXPECT_EQ(sentence_of(read_config_text({})), unreadable);
}

TEST(PlainResult, IsReadByItsCode) {
  EXPECT_EQ(sentence_of(read_result(bus::Payload(4))), "");
  EXPECT_EQ(sentence_of(read_result(bus::Payload(3))), unreadable);
  EXPECT_EQ(sentence_of(read_result(bus::Writer().record(std::uint32_t{0x40010001}).take())),
            "Not done: the service did not answer in time.");
}

}  // namespace
}  // namespace shell
