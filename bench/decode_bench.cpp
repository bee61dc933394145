// SPDX-License-Identifier: Apache-2.0
// How many records a second are decoded: by the decoder alone, with the string that callers get, and by hubprofile over
// a file in memory. The mix has every category, type and layout. Heap allocations per record are counted beside the
// rate.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "bench/allocation_count.h"
#include "host/capture_decode.h"
#include "host/clock_sources.h"
#include "host/descriptor.h"
#include "profile/NEBLogDecoder.h"
#include "profile/catalogue.h"
#include "profile/profile_exports.h"

namespace {

constexpr std::size_t kRecordCount = 20'000;

// Text that real firmware would send: the fields of a text hold a name, not noise that is no UTF-8.
void write_texts(_HubProfileReport& report) {
  const hub::profile::Rendering rendering = hub::profile::rendering_of(report);
  for (const hub::profile::Layout* layout : {rendering.first, rendering.second}) {
    for (const hub::profile::Field& field :
         layout != nullptr ? layout->fields : std::span<const hub::profile::Field>()) {
      if (field.kind.form == hub::profile::Form::kText) {
        std::string_view("accelerometer").copy(reinterpret_cast<char*>(report.payload) + field.at, 8);
        report.payload[field.at + 8 - 1] = 0;
      }
    }
  }
}

// The same records in every run: each category with each type in turn, known components and events, varied numbers.
std::vector<_HubProfileReport> mixed_records() {
  std::mt19937 random(20260304);
  std::vector<_HubProfileReport> records(kRecordCount);
  for (std::size_t index = 0; index < records.size(); ++index) {
    _HubProfileReport& record = records[index];
    record.category_id = static_cast<std::uint8_t>(index % 13);
    record.type_id = static_cast<std::uint8_t>(index / 13 % 14);
    record.component_id = static_cast<std::uint8_t>(random() % 10);
    record.event_id = static_cast<std::uint8_t>(random() % 4);
    record.sequence_num = static_cast<std::uint32_t>(index);
    record.timestamp = 1'000'000 + 137 * index;
    for (std::uint8_t& byte : record.payload) {
      byte = static_cast<std::uint8_t>(random() >> (random() % 25));
    }
    constexpr std::uint8_t kContextVersions[] = {3, 4, 5, 7};
    if (record.type_id == 10) {
      record.payload[0] = kContextVersions[index % 4];
      record.payload[1] = 0;
    }
    write_texts(record);
  }
  return records;
}

const std::vector<_HubProfileReport>& records() {
  static const std::vector<_HubProfileReport> instance = mixed_records();
  return instance;
}

void report_rates(benchmark::State& state, std::uint64_t allocations_before) {
  const auto done = static_cast<double>(state.iterations()) * static_cast<double>(records().size());
  state.counters["records"] = benchmark::Counter(done, benchmark::Counter::kIsRate);
  state.counters["allocations_per_record"] =
      static_cast<double>(hub::bench::allocation_count() - allocations_before) / done;
}

void decoder_to_string(benchmark::State& state) {
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    for (const _HubProfileReport& record : records()) {
      benchmark::DoNotOptimize(NEBLogDecoder::to_string(record));
    }
  }
  report_rates(state, before);
}

void copy_profile_description(benchmark::State& state) {
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    for (const _HubProfileReport& record : records()) {
      CFRelease(CopyProfileDescription(&record));
    }
  }
  report_rates(state, before);
}

void hubprofile_over_a_file_in_memory(benchmark::State& state) {
  const hub::host::Descriptor file(memfd_create("capture", 0));
  hub::host::write_all(file.number(),
                       {reinterpret_cast<const char*>(records().data()), records().size() * sizeof(_HubProfileReport)});
  hub::host::CaptureDecodeOptions options;
  options.inputs = {"/proc/self/fd/" + std::to_string(file.number())};
  options.output = "/dev/null";
  const std::uint64_t before = hub::bench::allocation_count();
  while (state.KeepRunning()) {
    if (hub::host::decode_captures(options, std::cerr) != 0) {
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
