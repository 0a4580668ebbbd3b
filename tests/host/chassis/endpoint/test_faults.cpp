#include "host/chassis/endpoint/faults.h"

#include <gtest/gtest.h>

#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

TEST(Faults, WrongWordsAreRefusedAndChangeNothing) {
  FaultTable faults;
  EXPECT_NE(sentence_of(faults.set("bored", "refuse"))
                .find("there is no service \"bored\"; faults exist for board,"),
            std::string::npos);
  EXPECT_NE(sentence_of(faults.set("board", "explode")), "");
  EXPECT_NE(sentence_of(faults.set("board", "delay", std::chrono::milliseconds(0))), "");
  EXPECT_NE(sentence_of(faults.set("board", "delay", std::chrono::milliseconds(60'001))), "");
  EXPECT_EQ(sentence_of(faults.set_from_option("board")),
            "the fault \"board\" is not written as NAME=refuse or NAME=silent");
  EXPECT_TRUE(faults.active().empty());
  EXPECT_EQ(sentence_of(faults.set_from_option("board=silent")), "");
  EXPECT_EQ(faults.of("board").mode, FaultMode::silent);
  EXPECT_EQ(sentence_of(faults.set("board", "normal")), "");
  EXPECT_TRUE(faults.active().empty());
}

}  // namespace
}  // namespace chassis
