#include "host/text/table.h"

#include <gtest/gtest.h>

namespace host {
namespace {

using Lines = std::vector<std::string>;

TEST(TableLines, AreAlignedUnderTheirHeads) {
  EXPECT_EQ(table_lines({{"PORT"}, {"FRAMES", Align::right}, {"STATE"}},
                        {{"ethernet 1/3", "7", "up"}, {"mgmt0", "37557443", "-"}}),
            (Lines{
                "PORT            FRAMES  STATE",
                "ethernet 1/3         7  up   ",
                "mgmt0         37557443  -    ",
            }));
}

TEST(TableLines, OfATableWithoutRowsAreItsHeads) {
  EXPECT_EQ(table_lines({{"VLAN", Align::right}, {"LTL"}}, {}), Lines{"VLAN  LTL"});
}

}  // namespace
}  // namespace host
