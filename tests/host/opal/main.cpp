#include <gtest/gtest.h>

#include "tests/host/opal/program.h"

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  opal::test::run_folder();
  return RUN_ALL_TESTS();
}
