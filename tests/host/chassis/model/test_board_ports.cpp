#include <gtest/gtest.h>

#include <set>

#include "host/chassis/model/board_ports.h"

namespace chassis {
namespace {

TEST(BoardPorts, Board82CountsAsicPortsInOrder) {
  EXPECT_EQ(asic_port(Board::b82, {1}), AsicPort{0});
  EXPECT_EQ(asic_port(Board::b82, {20}), AsicPort{19});
  EXPECT_EQ(front_port(Board::b82, {7}), FrontPort{8});
}

TEST(BoardPorts, Board83HasItsDownlinksFirst) {
  const int expected[] = {0, 1, 2, 3, 7, 8, 9, 10, 11, 12, 13, 17, 18, 19, 4, 5, 6, 14, 15, 16};
  for (std::uint8_t number = 1; number <= asic_ports; ++number)
    EXPECT_EQ(asic_port(Board::b83, {number})->value, expected[number - 1]) << int{number};
}

TEST(BoardPorts, FrontPortIsTheInverseOnBothBoards) {
  for (const Board board : {Board::b82, Board::b83})
    for (std::uint8_t number = 1; number <= asic_ports; ++number)
      EXPECT_EQ(front_port(board, *asic_port(board, {number})), FrontPort{number});
}

TEST(BoardPorts, OnlyBoard83HasUplinks) {
  std::set<int> uplinks;
  for (std::uint8_t number = 0; number < asic_ports; ++number) {
    if (is_uplink(Board::b83, {number})) uplinks.insert(number);
    EXPECT_FALSE(is_uplink(Board::b82, {number})) << int{number};
  }
  EXPECT_EQ(uplinks, (std::set<int>{4, 5, 6, 14, 15, 16}));
}

TEST(BoardPorts, ThereIsNoPort0AndNoPort21) {
  for (const Board board : {Board::b82, Board::b83}) {
    EXPECT_FALSE(asic_port(board, {0}));
    EXPECT_FALSE(asic_port(board, {21}));
  }
}

TEST(BoardPorts, InterfaceIndexesFollowTheirEncoding) {
  EXPECT_EQ(if_index({3}).value, 0x1a000002U);
  EXPECT_EQ(front_port_of({0x1a000002}), FrontPort{3});
  EXPECT_FALSE(front_port_of({0x1a000014}));
  EXPECT_FALSE(front_port_of({0x1a010002}));
  EXPECT_EQ(channel_of({0x16000007}), 7);
  EXPECT_EQ(channel_index(7).value, 0x16000007U);
  EXPECT_FALSE(channel_of({0x16010007}));
  EXPECT_FALSE(channel_of({0x1a000007}));
  EXPECT_FALSE(channel_of({0x16000000}));
  EXPECT_FALSE(channel_of({0x16001001}));
  EXPECT_EQ(channel_of({0x16001000}), 4096);
  EXPECT_EQ(management_if_index(Board::b82).value, 0x05000000U);
  EXPECT_EQ(management_if_index(Board::b83).value, 0x05000001U);
  EXPECT_STREQ(management_device(Board::b82), "mgmt0");
  EXPECT_STREQ(management_device(Board::b83), "mgmt1");
}

}  // namespace
}  // namespace chassis
