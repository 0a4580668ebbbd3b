// Measures a trace of the relay, from the macro to the event in the file of the history, and its parts.

#include <benchmark/benchmark.h>

#include <cstdio>

#include "opal/tracekit.h"
#include "tesk/tesk_dbg.h"

namespace {

void trace_line(benchmark::State &state) {
  int length = 60;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    TESK_PKT("%s:Read %d bytes on [%s]\n", "tesk_rx_mgmt", length, "mgmt0");
  }
}
BENCHMARK(trace_line);

void trace_line_of_a_sent_frame(benchmark::State &state) {
  int length = 70;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    TESK_PKT("%s:Wrote %d bytes (Req:%d) for%sLTL: %05x [%s]\n", "tesk_tx_inband", length, 70, " ", 0x8U,
             "inb0");
  }
}
BENCHMARK(trace_line_of_a_sent_frame);

/// A part of an operation traces with the place of the operation.
void trace_line_of_an_operation(benchmark::State &state) {
  int length = 60;
  tesk_place_t place = {.function = "tesk_port_vlan_shadowdb_get_port_list", .line = 160};
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    benchmark::DoNotOptimize(place);
    TESK_PKT_AT(place, "VLAN list size %d exhausted\n", length);
  }
}
BENCHMARK(trace_line_of_an_operation);

void record_event(benchmark::State &state) {
  const tesk_trace_event_t event{TESK_TRACE_PKT,
                                 "tesk_rx_mgmt(134): tesk_rx_mgmt:Read 60 bytes on [mgmt0]\n"};
  for (auto _ : state) {
    tracekit_hist_event(TESK_TRACE_EVENT, sizeof event.category + 58, &event);
  }
}
BENCHMARK(record_event);

void format_only(benchmark::State &state) {
  char text[128];
  int length = 60;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    benchmark::DoNotOptimize(
        std::snprintf(text, sizeof text, "%s:Read %d bytes on [%s]\n", "tesk_rx_mgmt", length, "mgmt0"));
  }
}
BENCHMARK(format_only);

}  // namespace
