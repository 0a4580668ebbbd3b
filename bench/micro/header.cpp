// Builds the header in front of a frame to the ASIC, field by field in the relay's order.

#include <benchmark/benchmark.h>

#include "opal/kestrix_th_fh_hdr.h"

namespace {

void build_header(benchmark::State &state) {
  kestrix_fh_hdr_t header;
  std::uint32_t ltl = 1;
  for (auto _ : state) {
    kestrix_fh_clear(&header);
    kestrix_fh_set_ce(&header);
    kestrix_fh_set_tagged(&header);
    kestrix_fh_set_vlan(&header, 4095);
    kestrix_fh_set_ltl(&header, ltl);
    benchmark::DoNotOptimize(header);
    benchmark::DoNotOptimize(ltl);
  }
}
BENCHMARK(build_header);

}  // namespace
