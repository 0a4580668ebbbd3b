#include "host/chassis/control/trace_categories.h"

#include <gtest/gtest.h>

namespace chassis {
namespace {

TEST(TraceCategories, HaveNames) {
  EXPECT_EQ(category_number("error"), 102U);
  EXPECT_FALSE(category_number("all"));
  EXPECT_EQ(category_name(100), "packet");
  EXPECT_EQ(category_name(7), "7");
}

}  // namespace
}  // namespace chassis
