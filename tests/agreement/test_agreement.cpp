/* Sequences worth keeping: those that failing runs printed, and those for states that random events rarely
 * reach. */
#include "tests/agreement/agreement.h"

#include <iterator>
#include <sstream>

#include "tests/standin/address_patterns.h"

namespace model {

TEST_F(Agreement, APortThatCannotJoinTheSolVlanLeavesAnEmptyEntry) {
  follow({82,
          {4095, 100},
          {
              {VlansDeleted{{4095}}},
              {PortState{{{0x1a000003, 1, {100}, {}}}}},
              {PortState{{{0x1a000003, 1, {100}, {}}}}},
              {PortState{{{0x1a000003, 2, {}, {100}}}}},
              {CinCommand{{{100, 100}}, true}},
              {ShowCin{}},
          }});
}

TEST_F(Agreement, AVlanWhoseStoreFailsStaysInTheTableUncounted) {
  follow({82,
          {},
          {
              {CinCommand{{{100, 100}}}, Refusal{"kvs_store", 1, 1, {}}},
              {PortState{{{0x1a000003, 1, {100}, {}}}}},
              {CinCommand{{{100, 100}}, true}},
              {ShowCin{}},
          }});
}

/** Ports 0 to `count` - 1 are up, and all change their forwarding states at once. */
Sequence ports_forward(uint32_t count) {
  PortState up;
  CblChange forward;
  for (uint32_t port = 0; port < count; ++port) {
    up.ports.push_back({0x1a000000 + port, 1, {100}, {}});
    forward.ports.push_back({0x1a000000 + port, {100}});
  }
  const PortState one_leaves{{{0x1a000000, 2, {}, {100}}}};
  return {82, {100}, {{up}, {forward}, {ShowCin{}}, {one_leaves}, {ShowCin{}}}};
}

TEST_F(Agreement, TwentyOnePortsArePushedTogether) { follow(ports_forward(21)); }
TEST_F(Agreement, TwentyTwoPortsWaitUntilOneLeaves) { follow(ports_forward(22)); }

TEST_F(Agreement, MoreVlansThanOnePushTakesWait) {
  Sequence sequence{82, {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, {}};
  for (uint32_t vlan = 100; vlan < 103; ++vlan)
    sequence.events.push_back({CinCommand{{{vlan, vlan}}}, Refusal{"kvs_store", 1, 1, {}}});
  sequence.events.push_back({PortState{{{0x1a000003, 1, {3, 100}, {}}}}});
  sequence.events.push_back({CblChange{{{0x1a000003, {3, 100}}}}});
  sequence.events.push_back({ShowCin{}});
  follow(sequence);
}

TEST_F(Agreement, AFrameIsSentToWhereItsAddressWasLearnt) {
  follow(
      {83,
       {100},
       {
           {LineCardOnline{}},
           {PortState{{{0x1a000003, 1, {100}, {}}, {0x1a000004, 1, {100}, {}}, {0x1a000007, 1, {100}, {}}}}},
           {CblChange{{{0x1a000003, {100}}, {0x1a000007, {100}}}}},
           {FramesArrive{{{false, 100, 1, 9}, {true, 100, 9, 1, 60, true, 3}, {false, 100, 1, 9}}}},
           {FramesArrive{{{true, 100, 9, 1, 60, true, 7}}}},
           {FramesArrive{{{false, 100, 1, 9}, {false, 100, broadcast_station, 9, 59}, {false, 100, 1, 9}}}},
           {ShowCin{}},
           {PortState{{{0x1a000007, 2, {}, {100}}}}},
           {FramesArrive{{{false, 100, 1, 9}}}},
       }});
}

/** Stations of one pattern appear again and again on two ports, and one port leaves. */
Sequence many_stations(size_t pattern) {
  const auto first = static_cast<uint16_t>(pattern * stations_of_a_pattern);
  const auto at = [first](int number) { return static_cast<uint16_t>(first + number); };
  return {
      82,
      {},
      {
          {LineCardOnline{}},
          {PortState{{{0x1a000003, 1, {}, {}}, {0x1a000004, 1, {}, {}}}}},
          {StationsAppear{3, at(0), 500}},
          {StationsAppear{4, at(200), 800}},
          {FramesArrive{{{false, 4095, at(0), 9}, {false, 4095, at(999), 9}, {false, 4095, at(1000), 9}}}},
          {PortState{{{0x1a000004, 2, {}, {}}}}},
          {FramesArrive{{{false, 4095, at(199), 9}, {false, 4095, at(200), 9}}}},
          {StationsAppear{3, at(900), 200}},
      }};
}

TEST_F(Agreement, ManyStationsOfEveryPatternAreFound) {
  for (size_t pattern = 0; pattern < std::size(address_patterns); ++pattern) {
    SCOPED_TRACE(address_patterns[pattern].name);
    follow(many_stations(pattern));
  }
}

/** A failing run prints the text of a test. */
TEST(SequenceText, IsCPlusPlus) {
  const Sequence sequence{83,
                          {100},
                          {
                              {PortState{{{0x1a000003, 1, {100}, {}}}}},
                              {CinCommand{{{100, 101}}, true}, Refusal{"kvs_delete", 2, -1, {}}, 3},
                              {FramesArrive{{{false, 100, 1, 9}}}, {}, 1},
                          }};
  std::ostringstream text;
  text << sequence;
  EXPECT_EQ(text.str(), R"(TEST_F(Agreement, NameWhatWentWrong) {
  follow({83, {100}, {
      {PortState{{{0x1a000003, 1, {100}, {}}}}},
      {CinCommand{{{100, 101}}, true, true}, Refusal{"kvs_delete", 2, -1, {}}, 3},
      {FramesArrive{{{false, 100, 1, 9, 60, true, 0, true, true}}}, {}, 1},
  }});
}
)");
}

}  // namespace model
