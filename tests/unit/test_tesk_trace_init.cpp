/* Setting up the trace facility. */
#include <cstddef>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_syslog_def.h"
#include "tests/unit/daemon_test.h"

namespace {

const char *const dbg_init_line =
    "tracekit_dbg_init(30, 'tesk', 'Tesk and CIN Manager', 3, {'TESK Manager Packet Events', "
    "'TESK Manager Control Events', 'TESK Manager Error Events'}, 1, 12, {0, size 4})";
const char *const sys_init_line =
    "tracekit_sys_init_helper(30, 'tesk', 'Tesk and CIN Manager', 4408, 1, 12, {1, size 4})";

TEST(FacilityRecords, LieAsTheFacilityReadsThem) {
  EXPECT_EQ(offsetof(tracekit_context_t, value), 0u);
  EXPECT_EQ(offsetof(tracekit_context_t, size), sizeof(void *));
  EXPECT_EQ(offsetof(tracekit_syslog_facility_t, fac_name), 0u);
  EXPECT_EQ(offsetof(tracekit_syslog_facility_t, fac_num), sizeof(void *));
  EXPECT_EQ(offsetof(tracekit_syslog_facility_t, default_filter), sizeof(void *) + 4);
  EXPECT_EQ(offsetof(tracekit_syslog_facility_t, priority_filter), sizeof(void *) + 8);
}

/** The queue is bound and the debug store open, as they are when the facility is set up. */
class TraceFacility : public DaemonTest {
 protected:
  TraceFacility() {
    tesk_qbus_q = queue_descriptor;
    tesk_debug_kvs = 12;
  }
};

TEST_F(TraceFacility, IsSetUpInOrderAndTestsItself) {
  show_trace_calls();
  EXPECT_TRUE(tesk_init_tracekit());
  expect({dbg_init_line,
          sys_init_line,
          "tracekit_hist_init(0x10000)",
          "tracekit_hist_init_for_uuid(115, 0x10000)",
          "opal_openlog('tesk', 10, 4408)",
          "tracekit_dbg_enable(101)",
          "tracekit_dbg_enable(100)",
          "tracekit_dbg_enable(102)",
          "tracekit_hist_event_subtype_check(0x730000, 101)",
          "tracekit_hist_event(0x730000, control : TRACEKIT CTRL_TR SUCCESS!!!)",
          "tracekit_chk_int(101, 0, 0, 1)",
          "dbgprint(1, 'tesk', 0, TRACEKIT CTRL_TR SUCCESS!!!)",
          "tracekit_hist_event_subtype_check(0x730000, 100)",
          "tracekit_hist_event(0x730000, packet : TRACEKIT PKT_TR SUCCESS!!!)",
          "tracekit_chk_int(100, 0, 0, 1)",
          "dbgprint(1, 'tesk', 0, TRACEKIT PKT_TR SUCCESS!!!)",
          "tracekit_hist_event_subtype_check(0x730000, 102)",
          "tracekit_hist_event(0x730000, error : TRACEKIT ERR_TR SUCCESS!!!)",
          "tracekit_chk_int(102, 0, 0, 1)",
          "dbgprint(1, 'tesk', 0, TRACEKIT ERR_TR SUCCESS!!!)",
          "tracekit_dbg_disable(101)",
          "tracekit_dbg_disable(100)"});
  EXPECT_EQ(live_blocks(), 4u) << "the facility keeps both contexts and their values";
}

TEST_F(TraceFacility, PrintsItsSelfTestUnderTheFacilitysName) {
  show_trace_calls();
  tracekit_dbg_modname = "module";
  EXPECT_TRUE(tesk_init_tracekit());
  EXPECT_EQ(count_of("dbgprint(1, 'module', 0, TRACEKIT CTRL_TR SUCCESS!!!)"), 1u);
  EXPECT_EQ(count_of("dbgprint(1, 'module', 0, TRACEKIT PKT_TR SUCCESS!!!)"), 1u);
  EXPECT_EQ(count_of("dbgprint(1, 'module', 0, TRACEKIT ERR_TR SUCCESS!!!)"), 1u);
  ignore_rest();
}

TEST_F(TraceFacility, IsSetUpThoughTheHistoryCannotBeSized) {
  when("tracekit_hist_init").returns(12);
  when("tracekit_hist_init_for_uuid").returns(12);
  EXPECT_TRUE(tesk_init_tracekit());
  expect({dbg_init_line, sys_init_line, "tracekit_hist_init(0x10000)",
          "tracekit_hist_init_for_uuid(115, 0x10000)", "opal_openlog('tesk', 10, 4408)",
          "tracekit_dbg_enable(101)", "tracekit_dbg_enable(100)", "tracekit_dbg_enable(102)",
          control("", "TRACEKIT CTRL_TR SUCCESS!!!"), packet("", "TRACEKIT PKT_TR SUCCESS!!!"),
          error("", "TRACEKIT ERR_TR SUCCESS!!!"), "tracekit_dbg_disable(101)", "tracekit_dbg_disable(100)"});
}

TEST_F(TraceFacility, DoesNotPrintTheSelfTestOfACategoryWhosePrintingStaysOff) {
  when("tracekit_chk_int").returns(0);
  EXPECT_TRUE(tesk_init_tracekit());
  EXPECT_TRUE(prints().empty());
  ignore_rest();
}

TEST_F(TraceFacility, PrintsOnlyErrorsAfterStartUp) {
  EXPECT_TRUE(tesk_init_tracekit());
  EXPECT_FALSE(is_printed(100));
  EXPECT_FALSE(is_printed(101));
  EXPECT_TRUE(is_printed(102));
  ignore_rest();
}

TEST_F(TraceFacility, DescribesItsSyslogFacility) {
  EXPECT_TRUE(tesk_init_tracekit());
  ASSERT_EQ(tracekit_sys_facility, &syslog_fac_LOG_TESK);
  EXPECT_STREQ(syslog_fac_LOG_TESK.fac_name, "tesk");
  EXPECT_EQ(syslog_fac_LOG_TESK.fac_num, 4408u);
  EXPECT_EQ(syslog_fac_LOG_TESK.default_filter, 2u);
  EXPECT_EQ(syslog_fac_LOG_TESK.priority_filter, 2u);
  ignore_rest();
}

TEST_F(TraceFacility, SkipsTheSelfTestsEventOfACategoryThatIsNotRecorded) {
  when("tracekit_hist_event_subtype_check").call(2).returns(1);
  EXPECT_TRUE(tesk_init_tracekit());
  EXPECT_EQ(count_of(control("", "TRACEKIT CTRL_TR SUCCESS!!!")), 1u);
  EXPECT_EQ(count_of(packet("", "TRACEKIT PKT_TR SUCCESS!!!")), 0u);
  EXPECT_EQ(count_of(error("", "TRACEKIT ERR_TR SUCCESS!!!")), 1u);
  EXPECT_EQ(prints().size(), 3u) << "printing does not depend on recording";
  ignore_rest();
}

TEST_F(TraceFacility, ReportsARefusedDebugSideOnStandardOutputAndFreesAll) {
  when("tracekit_dbg_init").returns(5);
  boolean result = true;
  EXPECT_EQ(printed_by([&] { result = tesk_init_tracekit(); }), "tracekit_dbg_init failed\n");
  EXPECT_FALSE(result);
  EXPECT_EQ(live_blocks(), 0u);
  EXPECT_EQ(tracekit_sys_facility, nullptr);
  expect({dbg_init_line});
}

TEST_F(TraceFacility, ReportsARefusedSyslogSideOnStandardOutputAndFreesAll) {
  when("tracekit_sys_init_helper").returns(5);
  boolean result = true;
  EXPECT_EQ(printed_by([&] { result = tesk_init_tracekit(); }), "tracekit_sys_init Failed");
  EXPECT_FALSE(result);
  EXPECT_EQ(live_blocks(), 0u);
  EXPECT_EQ(tracekit_sys_facility, &syslog_fac_LOG_TESK);
  expect({dbg_init_line, sys_init_line});
}

class TraceFacilityShortOfMemory : public TraceFacility, public testing::WithParamInterface<unsigned> {};

TEST_P(TraceFacilityShortOfMemory, FailsSilentlyAndFreesWhatItGot) {
  fail_allocation(GetParam());
  boolean result = true;
  EXPECT_EQ(printed_by([&] { result = tesk_init_tracekit(); }), "");
  EXPECT_FALSE(result);
  EXPECT_EQ(live_blocks(), 0u);
  expect({});
}

INSTANTIATE_TEST_SUITE_P(EachAllocation, TraceFacilityShortOfMemory, testing::Values(1, 2, 3, 4));

}  // namespace
