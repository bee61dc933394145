// SPDX-License-Identifier: Apache-2.0
// How many records a second each output form writes, all of the same records in one run.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/allocation_count.h"
#include "bench/mixed_records.h"
#include "host/captures/clock_sources.h"
#include "host/forms/csv_format.h"
#include "host/forms/jsonl_format.h"
#include "host/forms/text_format.h"

namespace {

using hub::bench::mixed_records;

// As many records as a block of input has; what they give is put out and its room used again.
constexpr std::size_t kRecordsPerBlock = 1365;

void write_records(benchmark::State& state, hub::host::RecordFormat& format) {
  std::string out;
  std::uint64_t bytes = 0;
  const std::uint64_t allocations_before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    std::size_t in_block = 0;
    for (const _HubProfileReport& record : mixed_records()) {
      format.append(record, out);
      if (++in_block == kRecordsPerBlock) {
        benchmark::DoNotOptimize(out.data());
        bytes += out.size();
        out.clear();
        in_block = 0;
      }
    }
  }
  const auto done = static_cast<double>(state.iterations()) * static_cast<double>(mixed_records().size());
  state.counters["records"] = benchmark::Counter(done, benchmark::Counter::kIsRate);
  state.counters["bytes_per_record"] = static_cast<double>(bytes) / done;
  state.counters["allocations_per_record"] =
      static_cast<double>(hub::bench::allocation_count() - allocations_before) / done;
}

void without_times(const benchmark::State&) { hub::host::publish_boot_time({std::nullopt}); }

void text(benchmark::State& state) {
  hub::host::TextFormat format;
  write_records(state, format);
}

void jsonl(benchmark::State& state) {
  hub::host::JsonlFormat format;
  write_records(state, format);
}

void csv(benchmark::State& state) {
  hub::host::CsvFormat format(hub::host::parse_fields(hub::host::kDefaultFields));
  write_records(state, format);
}

BENCHMARK(text)->Unit(benchmark::kMillisecond)->Setup(without_times);
BENCHMARK(jsonl)->Unit(benchmark::kMillisecond)->Setup(without_times);
BENCHMARK(csv)->Unit(benchmark::kMillisecond)->Setup(without_times);

}  // namespace

BENCHMARK_MAIN();
