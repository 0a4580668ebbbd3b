#include "host/text/if_index_name.h"

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(IfIndexName, IsAsPeopleWriteIt) {
  EXPECT_EQ(if_index_name(0x1a000002), "ethernet 1/3");
  EXPECT_EQ(if_index_name(0x16000007), "port-channel 7");
  EXPECT_EQ(if_index_name(0x05000000), "mgmt0");
}

}  // namespace
}  // namespace host
