// SPDX-License-Identifier: Apache-2.0
// How many records a second are decoded: by the decoder alone, with the string that callers get, and by hubprofile over
// a file in memory. The mix has every category, type and layout. Heap allocations per record are counted beside the
// rate.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

#include "bench/allocation_count.h"
#include "bench/mixed_records.h"
#include "host/captures/clock_sources.h"
#include "host/forms/text_format.h"
#include "host/io/descriptor.h"
#include "host/records/record_run.h"
#include "profile/NEBLogDecoder.h"
#include "profile/profile_exports.h"

namespace {

using hub::bench::mixed_records;

void report_rates(benchmark::State& state, std::uint64_t allocations_before) {
  const auto done = static_cast<double>(state.iterations()) * static_cast<double>(mixed_records().size());
  state.counters["records"] = benchmark::Counter(done, benchmark::Counter::kIsRate);
  state.counters["allocations_per_record"] =
      static_cast<double>(hub::bench::allocation_count() - allocations_before) / done;
}

void decoder_to_string(benchmark::State& state) {
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    for (const _HubProfileReport& record : mixed_records()) {
      benchmark::DoNotOptimize(NEBLogDecoder::to_string(record));
    }
  }
  report_rates(state, before);
}

void copy_profile_description(benchmark::State& state) {
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    for (const _HubProfileReport& record : mixed_records()) {
      CFRelease(CopyProfileDescription(&record));
    }
  }
  report_rates(state, before);
}

void hubprofile_over_a_file_in_memory(benchmark::State& state) {
  const hub::host::Descriptor file(memfd_create("capture", 0));
  hub::host::write_all(file.number(), {reinterpret_cast<const char*>(mixed_records().data()),
                                       mixed_records().size() * sizeof(_HubProfileReport)});
  hub::host::ProfileRunOptions options;
  options.inputs.names = {"/proc/self/fd/" + std::to_string(file.number())};
  options.output = "/dev/null";
  hub::host::RecordOutputOptions records;
  records.make_format = [] { return std::make_unique<hub::host::TextFormat>(); };
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    if (hub::host::write_records(options, records, std::cerr) != 0) {
      state.SkipWithError("hubprofile failed");
    }
  }
  report_rates(state, before);
}

// Without the two times, as the decoder itself is measured, and with them.
void without_times(const benchmark::State&) { hub::host::publish_boot_time({std::nullopt}); }

BENCHMARK(decoder_to_string)->Unit(benchmark::kMillisecond)->Setup(without_times);
BENCHMARK(copy_profile_description)->Unit(benchmark::kMillisecond)->Setup(without_times);
BENCHMARK(hubprofile_over_a_file_in_memory)->Unit(benchmark::kMillisecond)->Setup(without_times);

void with_times(const benchmark::State&) {
  static const bool published = (hub::host::publish_clock_pair({0, 1'772'612'100'000'000'000}), true);
  hub::host::publish_boot_time({published ? 1'772'612'099'000'000U : 0U});
}

BENCHMARK(decoder_to_string)->Name("decoder_to_string_with_times")->Unit(benchmark::kMillisecond)->Setup(with_times);

}  // namespace

BENCHMARK_MAIN();
