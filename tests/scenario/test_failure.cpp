/* Repeats every scenario with its first, second, … n-th allocation failing, then with its first, second, …
 * n-th platform call failing, until a run has no failure left to inject. After every failure the daemon stays
 * inside its memory and frees all of it, its tables are sound, and it serves what comes next. */
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/scenario/invariants.h"
#include "tests/scenario/scenarios.h"
#include "tests/scenario/world.h"

namespace {

/* If one of these fails, the daemon does not start. */
constexpr std::string_view fatal_at_start[] = {"get_card_module_info",
                                               "qbus_bind",
                                               "qbus_options_set",
                                               "cush_register_parse_tree",
                                               "timer_new",
                                               "cmd_backend_init",
                                               "tracekit_dbg_init",
                                               "tracekit_sys_init_helper",
                                               "open",
                                               "if_index_get_type",
                                               "if_index_mgmt_sup_port_init",
                                               "portsvc_ext_sbcr_init"};

/* The table of ports uses these to find a bucket. When the library refuses an index, the table uses bucket 0
 * for that one insertion or look-up. */
constexpr std::string_view bucket_lookups[] = {"if_index_get_type", "if_index_get_port",
                                               "if_index_port_channel_get_channel_num"};

template <size_t size>
bool is_among(const std::string_view (&operations)[size], std::string_view operation) {
  return std::ranges::count(operations, operation) != 0;
}

/* The consequences: the port is in the wrong bucket or entered twice. In the second case the first entry that
 * is deleted removes the port from the kernel module. */
bool follows_from_the_wrong_bucket(const std::string &sentence) {
  return sentence.find("of the port table") != std::string::npos ||
         sentence.starts_with("the kernel module does not know port");
}

/** Expects sound tables, except for what the failure of this operation excuses. */
void expect_sound(std::string_view failed) {
  for (const std::string &sentence : broken_invariants()) {
    if (!is_among(bucket_lookups, failed) || !follows_from_the_wrong_bucket(sentence))
      ADD_FAILURE() << sentence;
  }
}

void expect_alive(std::string_view failed) {
  expect_sound(failed);
  expect_service();
  expect_sound(failed);
}

class Failure : public testing::TestWithParam<Scenario> {};

TEST_P(Failure, OfAnyAllocationLeavesTheDaemonSound) {
  bool failed = true;
  for (unsigned number = 1; failed; ++number) {
    SCOPED_TRACE("allocation " + std::to_string(number));
    World world;
    GetParam().given();
    fail_allocation(number);
    const Ending ending = GetParam().happens();
    failed = !is_allocation_to_fail();
    fail_allocation(0);
    if (ending == waiting()) {
      expect_alive("");
    } else {
      EXPECT_TRUE(failed && GetParam().is_start) << "the daemon ended: " << ending;
    }
    if (HasFailure()) return;
  }
}

TEST_P(Failure, OfAnyCallLeavesTheDaemonSound) {
  bool failed = true;
  for (unsigned number = 1; failed; ++number) {
    World world;
    GetParam().given();
    fail_call(number);
    const Ending ending = GetParam().happens();
    const std::string operation = failed_operation();
    SCOPED_TRACE("call " + std::to_string(number) + " " + operation);
    failed = !operation.empty();
    fail_call(0);
    if (ending == waiting()) {
      expect_alive(operation);
    } else {
      EXPECT_TRUE(GetParam().is_start && is_among(fatal_at_start, operation))
          << "the daemon ended: " << ending;
    }
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Failure, testing::ValuesIn(scenarios().begin(), scenarios().end()),
                         [](const auto &story) { return std::string(story.param.name); });

}  // namespace
