// The MAC table: looking up and learning, with few and with many addresses in it.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

#include "tesk/tesk_fib.h"

namespace {

using Mac = std::array<std::uint8_t, 6>;

tesk_port_t port;

Mac station(std::uint32_t number) {
  return {0x02,
          0,
          1,
          static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

void learn(std::uint32_t count) {
  for (std::uint32_t number = 0; number < count; ++number) {
    (void)tesk_fib_hash_insert(station(number).data(), &port, 4095);
  }
}

void forget() { (void)tesk_fib_purge_port_entries(&port); }

/// Addresses far apart from each other, so that none is found in a cache because of its neighbour.
std::vector<Mac> scattered(std::uint32_t count) {
  std::vector<Mac> macs;
  for (std::uint32_t i = 0; i < 1024; ++i) {
    macs.push_back(station(i * 2654435761U % count));
  }
  return macs;
}

void look_up(benchmark::State &state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  learn(count);
  const std::vector<Mac> macs = scattered(count);
  std::size_t turn = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tesk_fib_hash_lookup(macs[turn++ % macs.size()].data(), 4095));
  }
  forget();
}
BENCHMARK(look_up)->Arg(20)->Arg(1000)->Arg(10'000)->Arg(100'000);

void look_up_unknown(benchmark::State &state) {
  learn(static_cast<std::uint32_t>(state.range(0)));
  const Mac unknown{0x02, 0xff, 1, 2, 3, 4};
  for (auto _ : state) {
    benchmark::DoNotOptimize(tesk_fib_hash_lookup(unknown.data(), 4095));
  }
  forget();
}
BENCHMARK(look_up_unknown)->Arg(20)->Arg(100'000);

void learn_known(benchmark::State &state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  learn(count);
  const std::vector<Mac> macs = scattered(count);
  std::size_t turn = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tesk_fib_hash_insert(macs[turn++ % macs.size()].data(), &port, 4095));
  }
  forget();
}
BENCHMARK(learn_known)->Arg(20)->Arg(100'000);

/// The time is that of filling an empty table; items a second tell the cost of one new address.
void learn_new(benchmark::State &state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    learn(count);
    state.PauseTiming();
    forget();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(learn_new)->Arg(20)->Arg(1000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

}  // namespace
