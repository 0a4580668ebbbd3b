/* model_tests: takes GoogleTest's options and
 *
 *     --sequences N   number of random sequences (default 500, about 100,000 events)
 *     --seed N        seed, to repeat a run (default: a fixed seed)
 *     --long          run ten thousand sequences from a new seed */
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace {

struct Options {
  std::string seed = "20260101";
  std::string sequences = "500";
};

/** @return the first argument that is wrong; empty if there is none */
std::string read_options(int count, char **arguments, Options &options) {
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    const bool has_value = i + 1 < count;
    if (argument == "--long")
      options = {std::to_string(std::random_device{}()), "10000"};
    else if (argument == "--seed" && has_value)
      options.seed = arguments[++i];
    else if (argument == "--sequences" && has_value)
      options.sequences = arguments[++i];
    else
      return argument;
  }
  return "";
}

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  Options options;
  const std::string wrong = read_options(argc, argv, options);
  if (!wrong.empty()) {
    std::cerr << "model_tests: '" << wrong
              << "' is not understood; there are --sequences N, --seed N, --long and "
              << "GoogleTest's options\n";
    return 2;
  }
  std::cout << "seed " << options.seed << ", " << options.sequences << " sequences\n";
  const std::string parameters = "seed=" + options.seed + " max_success=" + options.sequences;
  setenv("RC_PARAMS", parameters.c_str(), 1);
  return RUN_ALL_TESTS();
}
