// SPDX-License-Identifier: Apache-2.0
// The decoder between its yardsticks: records of three types as text by the limit, by the decoder and as a first
// version would write it. All three must give the same text, or nothing is measured.
//
// decode_bench [--with-times] [BENCHMARK OPTION]...: --with-times measures the decoder alone, with the two times that
// are not in a record; once a clock pair is published the process has it, so that this takes a process of its own.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <string>
#include <string_view>

#include "bench/allocation_count.h"
#include "bench/limit_text.h"
#include "bench/plain_text.h"
#include "bench/three_types.h"
#include "host/captures/clock_sources.h"
#include "profile/NEBLogDecoder.h"

namespace {

using namespace hub::bench;

// As many as stay in the cache with their text, so that it is not memory that is measured.
constexpr std::size_t kRecords = 3000;

const std::vector<_HubProfileReport>& records() {
  static const std::vector<_HubProfileReport> instance = three_types(kRecords);
  return instance;
}

// An iteration is all of the records. Allocations are counted apart, for the benchmark's own are not the record's.
template <typename Work>
void for_each_record(benchmark::State& state, const Work& work) {
  const auto work_on_all = [&work] { std::for_each(records().begin(), records().end(), work); };
  const std::uint64_t allocations_before = allocation_count();
  work_on_all();
  state.counters["allocations_per_record"] =
      static_cast<double>(allocation_count() - allocations_before) / static_cast<double>(kRecords);
  while (state.KeepRunning()) {
    work_on_all();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRecords));
}

void limit_text(benchmark::State& state) {
  std::array<char, kLimitTextRoom> room;
  for_each_record(state, [&](const _HubProfileReport& record) {
    benchmark::DoNotOptimize(put_limit_text(room.data(), record));
    benchmark::ClobberMemory();
  });
}

void plain_text(benchmark::State& state) {
  for_each_record(state,
                  [](const _HubProfileReport& record) { benchmark::DoNotOptimize(hub::bench::plain_text(record)); });
}

void to_string(benchmark::State& state) {
  for_each_record(state,
                  [](const _HubProfileReport& record) { benchmark::DoNotOptimize(NEBLogDecoder::to_string(record)); });
}

std::string limit_string(const _HubProfileReport& record) {
  std::array<char, kLimitTextRoom> room;
  return {room.data(), put_limit_text(room.data(), record)};
}

// The records must be written alike. Says where they are not.
bool is_the_same_text(std::string_view name, std::string (*text_of)(const _HubProfileReport&)) {
  for (std::size_t index = 0; index < records().size(); ++index) {
    const std::string expected = NEBLogDecoder::to_string(records()[index]);
    const std::string text = text_of(records()[index]);
    if (text != expected) {
      const auto column =
          std::mismatch(text.begin(), text.end(), expected.begin(), expected.end()).first - text.begin();
      std::cerr << "decode_bench: record " << index << ", column " << column + 1 << ": " << name << " writes\n"
                << text << "\nand the decoder\n"
                << expected << '\n';
      return false;
    }
  }
  return true;
}

BENCHMARK(limit_text);
BENCHMARK(plain_text);
BENCHMARK(to_string);

// Takes the option out of the arguments.
bool take_with_times(int& argc, char** argv) {
  if (argc < 2 || std::string_view(argv[1]) != "--with-times") {
    return false;
  }
  std::rotate(argv + 1, argv + 2, argv + argc);
  --argc;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (take_with_times(argc, argv)) {
    hub::host::publish_clock_pair({0, 1'772'612'100'000'000'000});
    hub::host::publish_boot_time({1'772'612'099'000'000});
  } else {
    hub::host::publish_boot_time({std::nullopt});
    if (!is_the_same_text("the limit", limit_string) ||
        !is_the_same_text("the plain version", hub::bench::plain_text)) {
      return 1;
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
