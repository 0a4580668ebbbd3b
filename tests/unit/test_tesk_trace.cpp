/* Tracing: what one trace leaves in the history and on the console. */
#include <gtest/gtest-spi.h>

#include <cstddef>
#include <cstring>

#include "tesk/tesk_dbg.h"
#include "tests/unit/daemon_test.h"

namespace {

// Taken before any test runs.
const boolean packet_flag_at_start = tesk_dbg_pkt;
const boolean control_flag_at_start = tesk_dbg_ctrl;

TEST(DebugFlags, AreOffWhenTheProgramStarts) {
  EXPECT_FALSE(packet_flag_at_start);
  EXPECT_FALSE(control_flag_at_start);
}

TEST(TraceRecords, LieAsTheFacilityReadsThem) {
  EXPECT_EQ(offsetof(tesk_trace_event_t, category), 0u);
  EXPECT_EQ(offsetof(tesk_trace_event_t, text), 4u);
  EXPECT_EQ(sizeof(tesk_trace_event_t), 4u + 512u);
  EXPECT_EQ(sizeof tesk_trace_buf, 1024u);
}

/** The pattern of a trace, made by functions of this file. */
class TracePattern : public DaemonTest {
 protected:
  static void trace_error(const char *text) { TESK_ERR("%s", text); }
  static void trace_control(const char *text) { TESK_CTRL("%s", text); }
  static void trace_packet(const char *text) { TESK_PKT("%s", text); }
};

TEST_F(TracePattern, RecordsCategoryFunctionLineAndText) {
  const tesk_trace_site_t site = tesk_trace_site_of({"some_function", 42});
  tesk_trace<"VLAN %d\n">(TESK_TRACE_CTRL, &site, 100);
  ASSERT_EQ(events().size(), 1u);
  const std::string text = "some_function(42): VLAN 100\n";
  const uint32_t category = 101;
  Bytes expected = Payload().raw(category).bytes(Bytes(text.begin(), text.end())).u8(0);
  EXPECT_EQ(events()[0].code, 0x730000u);
  EXPECT_EQ(events()[0].bytes, expected) << "4 bytes of category, the text, its NUL: strlen + 5";
  EXPECT_STREQ(tesk_trace_buf, "VLAN 100\n");
  ignore_rest();
}

TEST_F(TracePattern, SaysTheLineOnWhichTheTraceStands) {
  const int line = __LINE__ + 1;
  TESK_ERR("here");
  EXPECT_EQ(events().at(0).text, "TestBody(" + std::to_string(line) + "): here");
  EXPECT_EQ(prints().at(0), events().at(0).text);
  ignore_rest();
}

void inner_part(tesk_place_t place) { TESK_CTRL_AT(place, "%s:inner", place.function); }

void part_of_an_operation(int, tesk_place_t place = tesk_here()) {
  TESK_ERR_AT(place, "part");
  inner_part(place);
}

int an_operation() {
  part_of_an_operation(  // a call on two lines: the trace has the first one
      1);
  return __LINE__ - 2;
}

TEST_F(TracePattern, OfAPartSaysTheOperationAndTheLineOfItsCall) {
  const std::string place = "an_operation(" + std::to_string(an_operation()) + "): ";
  EXPECT_EQ(events().at(0).text, place + "part");
  EXPECT_EQ(prints().at(0), place + "part");
  EXPECT_EQ(events().at(1).text, place + "an_operation:inner");
  ignore_rest();
}

TEST_F(TracePattern, NamesTheCallingFunction) {
  trace_error("e");
  trace_control("c");
  trace_packet("p");
  expect({error("trace_error", "e"), control("trace_control", "c"), packet("trace_packet", "p")});
}

TEST_F(TracePattern, ChecksThenRecordsThenChecksThenPrints) {
  show_trace_calls();
  const tesk_trace_site_t site = tesk_trace_site_of({"some_function", 7});
  tesk_trace<"broken">(TESK_TRACE_ERR, &site);
  expect({"tracekit_hist_event_subtype_check(0x730000, 102)",
          "tracekit_hist_event(0x730000, error some_function: broken)", "tracekit_chk_int(102, 0, 0, 1)",
          "dbgprint(1, 'tesk', 0, broken)"});
  EXPECT_EQ(prints().at(0), "some_function(7): broken");
}

TEST_F(TracePattern, PrintsUnderTheFacilitysName) {
  show_trace_calls();
  tracekit_dbg_modname = "module";
  trace_error("broken");
  EXPECT_EQ(count_of("dbgprint(1, 'module', 0, broken)"), 1u);
  ignore_rest();
}

TEST_F(TracePattern, PrintsACategoryThatIsNotRecorded) {
  when("tracekit_hist_event_subtype_check").returns(1);
  trace_error("only printed");
  EXPECT_EQ(prints().size(), 1u);
  expect({});
}

TEST_F(TracePattern, RecordsACategoryThatIsNotPrinted) {
  trace_packet("only recorded");
  trace_control("only recorded");
  EXPECT_TRUE(prints().empty());
  expect({packet("only recorded"), control("only recorded")});
}

TEST_F(TracePattern, DoesNotReadTheDebugCommandsFlags) {
  tesk_dbg_pkt = tesk_dbg_ctrl = true;
  trace_packet("only recorded");
  trace_control("only recorded");
  EXPECT_TRUE(prints().empty());
  tesk_dbg_pkt = tesk_dbg_ctrl = false;
  when("tracekit_chk_int").returns(1);
  trace_packet("printed");
  trace_control("printed");
  EXPECT_EQ(prints().size(), 2u);
  expect({packet("only recorded"), control("only recorded"), packet("printed"), control("printed")});
}

TEST_F(TracePattern, IsPrintedForAnyAnswerButZeroAndRecordedForNone) {
  when("tracekit_chk_int").returns(2);
  when("tracekit_hist_event_subtype_check").returns(-1);
  trace_packet("only printed");
  EXPECT_EQ(prints().size(), 1u);
  expect({});
}

TEST_F(TracePattern, AllocatesNothing) {
  fail_allocation(1);
  trace_error("short");
  trace_error(std::string(1500, 'x').c_str());
  EXPECT_TRUE(is_allocation_to_fail());
  fail_allocation(0);
  EXPECT_EQ(events().size(), 2u);
  EXPECT_EQ(prints().size(), 2u);
  ignore_rest();
}

TEST_F(TracePattern, FormatsEvenWhenNothingIsRecordedOrPrinted) {
  when("tracekit_hist_event_subtype_check").returns(1);
  trace_control("kept in the buffer");
  EXPECT_STREQ(tesk_trace_buf, "kept in the buffer");
  expect({});
}

TEST_F(TracePattern, CutsAMessageAt1023CharactersAndAnEventAt511) {
  const std::string message(1500, 'x');
  trace_error(message.c_str());
  EXPECT_EQ(std::string(tesk_trace_buf), std::string(1023, 'x'));
  ASSERT_EQ(events().size(), 1u);
  EXPECT_EQ(events()[0].text.size(), 511u);
  EXPECT_EQ(events()[0].bytes.size(), 4u + 511u + 1u);
  EXPECT_TRUE(events()[0].text.starts_with("trace_error("));
  EXPECT_TRUE(prints().at(0).ends_with(std::string(1023, 'x'))) << "the print is not cut at 511";
  ignore_rest();
}

TEST_F(TracePattern, KeepsAMessageOfExactly1023Characters) {
  const std::string message(1023, 'y');
  trace_error(message.c_str());
  EXPECT_EQ(std::string(tesk_trace_buf), message);
  ignore_rest();
}

TEST_F(TracePattern, TakesPercentSignsOfATextAsTheyAre) {
  trace_error("100 %s %d %n");
  expect({error("trace_error", "100 %s %d %n")});
  EXPECT_TRUE(prints().at(0).ends_with("100 %s %d %n"));
}

/* A site created at run time has no prefix; the event is the same. */
tesk_trace_site_t site_without_prefix(tesk_place_t place) {
  tesk_trace_site_t site;
  site.place = place;
  site.prefix_length = TESK_TRACE_NO_PREFIX;
  return site;
}

TEST(TraceSite, HasThePrefixOfEveryLine) {
  for (const int line : {1, 9, 10, 11, 99, 100, 109, 1000, 65535, 2147483647}) {
    const tesk_trace_site_t site = tesk_trace_site_of({"f", line});
    EXPECT_EQ(std::string(site.prefix, site.prefix_length), "f(" + std::to_string(line) + "): ");
  }
}

TEST(TraceSite, HasNoPrefixWithoutRoomForIt) {
  const std::string fits(TESK_TRACE_PREFIX_BYTES - std::strlen("(7): "), 'f');
  EXPECT_EQ(tesk_trace_site_of({fits.c_str(), 7}).prefix_length, TESK_TRACE_PREFIX_BYTES);
  EXPECT_EQ(tesk_trace_site_of({(fits + "f").c_str(), 7}).prefix_length, TESK_TRACE_NO_PREFIX);
  EXPECT_EQ(tesk_trace_site_of({std::string(1000, 'f').c_str(), 7}).prefix_length, TESK_TRACE_NO_PREFIX);
}

std::string event_of(const tesk_trace_site_t &site, const std::string &message) {
  tesk_trace<"%s">(TESK_TRACE_PKT, &site, message.c_str());
  return events().back().text;
}

/* Lengths at which the code copies prefix or message in another way, or truncates them. */
TEST_F(TracePattern, RecordsFunctionsAndMessagesOfEveryLength) {
  for (const size_t name_length : {1u, 19u, 20u, 59u, 60u, 64u, 65u, 200u, 431u, 432u, 506u, 507u, 600u}) {
    for (const size_t length : {0u, 1u, 63u, 64u, 79u, 80u, 81u, 450u, 511u, 1023u}) {
      const std::string function(name_length, 'f');
      const std::string message(length, 'm');
      const std::string expected = (function + "(7): " + message).substr(0, 511);
      ASSERT_EQ(event_of(tesk_trace_site_of({function.c_str(), 7}), message), expected) << name_length;
      ASSERT_EQ(event_of(site_without_prefix({function.c_str(), 7}), message), expected) << name_length;
    }
  }
  ignore_rest();
}

TEST_F(TracePattern, LeavesTheMessageAloneWhileItsEventIsRecorded) {
  std::string seen;
  while_recording([&seen] { seen = tesk_trace_buf; });
  trace_packet("short");
  EXPECT_EQ(seen, "short");
  const std::string message(1000, 'x');
  trace_packet(message.c_str());
  EXPECT_EQ(seen, message);
  ignore_rest();
}

TEST_F(TracePattern, IsRefusedAnEventThatIsNotAligned) {
  alignas(4) char bytes[] = {0, 0, 0, 0, 0, 'x', 0};
  const uint32_t category = 102;
  std::memcpy(bytes + 1, &category, sizeof category);
  EXPECT_NONFATAL_FAILURE(tracekit_hist_event(0x730000, 6, bytes + 1), "not aligned to 4 bytes");
  ignore_rest();
}

}  // namespace
