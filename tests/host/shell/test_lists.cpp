#include "host/shell/lists.h"

#include <gtest/gtest.h>

#include <string>

namespace shell {
namespace {

std::string refusal(host::Result<std::vector<Range>> (*parse)(std::string_view), const std::string &text) {
  const auto ranges = parse(text);
  if (ranges) {
    return "accepted";
  }
  EXPECT_EQ(status_of(ranges.error()), status_syntax);
  return ranges.error().what;
}

TEST(Vlans, AreTakenAsTheyWereTyped) {
  EXPECT_EQ(parse_vlans("100"), (std::vector<Range>{{100, 100}}));
  EXPECT_EQ(parse_vlans("200,3-5,1,4095"), (std::vector<Range>{{200, 200}, {3, 5}, {1, 1}, {4095, 4095}}));
  EXPECT_EQ(parse_vlans("7-7"), (std::vector<Range>{{7, 7}}));
}

TEST(Vlans, ThatCannotBeReadAreRefusedWithWhatIsAccepted) {
  for (const char *text : {"5-3", "0", "4096", "a", "", "1,", ",1", "1-", "-1", "1--2", "1-2-3", "0-4", "+1",
                           "0x10", "99999999999", "1 2"}) {
    EXPECT_NE(refusal(parse_vlans, text).find("numbers from 1 to 4095 and ascending ranges are accepted"),
              std::string::npos)
        << text;
  }
  EXPECT_EQ(refusal(parse_vlans, "3,5-3"),
            "\"5-3\" is not a list of VLANs: numbers from 1 to 4095 and ascending ranges are accepted, as in "
            "3-5,200.");
}

std::string numbered_list(int entries) {
  std::string list;
  for (int i = 1; i <= entries; ++i) {
    list += (i == 1 ? "" : ",") + std::to_string(2 * i);
  }
  return list;
}

TEST(Vlans, AreAtMost64Ranges) {
  EXPECT_EQ(parse_vlans(numbered_list(64)).value().size(), 64u);
  EXPECT_EQ(refusal(parse_vlans, numbered_list(65)),
            "A list of VLANs may have at most 64 entries; this one has 65.");
  EXPECT_EQ(refusal(parse_vlans, numbered_list(70)),
            "A list of VLANs may have at most 64 entries; this one has 70.");
}

struct InterfaceCase {
  const char *text;
  std::vector<Range> ranges;
};

TEST(Interfaces, AreTakenInEveryWayPeopleWriteThem) {
  const std::vector<InterfaceCase> cases{
      {"ethernet 1/3", {{0x1a000002, 0x1a000002}}},
      {"ethernet1/3", {{0x1a000002, 0x1a000002}}},
      {"eth 1/3", {{0x1a000002, 0x1a000002}}},
      {"1/3", {{0x1a000002, 0x1a000002}}},
      {"ethernet 1/3-5", {{0x1a000002, 0x1a000004}}},
      {"e1/3-1/5,1/20", {{0x1a000002, 0x1a000004}, {0x1a000013, 0x1a000013}}},
      {"port-channel 7", {{0x16000007, 0x16000007}}},
      {"port-channel 7-9,1/1", {{0x16000007, 0x16000009}, {0x1a000000, 0x1a000000}}},
      {"po7", {{0x16000007, 0x16000007}}},
      {"mgmt0", {{0x05000000, 0x05000000}}},
      {"mgmt 1", {{0x05000001, 0x05000001}}},
  };
  for (const InterfaceCase &one : cases) {
    EXPECT_EQ(parse_interfaces(one.text), one.ranges) << one.text;
  }
}

TEST(Interfaces, ThatCannotBeReadAreRefusedWithWhatIsAccepted) {
  for (const char *text :
       {"", "3", "1/0", "0/1", "1/", "/1", "1/3-2", "1/3-2/4", "vlan 3", "port-channel 0", "port-channel 1/3",
        "port-channel 4097", "mgmt", "ethernet", "1/3-mgmt0", "1/3/4", "1/x"}) {
    EXPECT_NE(refusal(parse_interfaces, text).find("ethernet SLOT/PORT, port-channel N, mgmtN"),
              std::string::npos)
        << text;
  }
}

TEST(Ranges, ArePrintedShort) {
  EXPECT_EQ(ranges_text({}), "");
  EXPECT_EQ(ranges_text({{3, 5}, {200, 200}}), "3-5,200");
}

}  // namespace
}  // namespace shell
