// SPDX-License-Identifier: Apache-2.0
// What snapshots cost: one handler of each kind on the example device; a sensor's snapshot of values at hand, by the
// plug-in and by another property-list library; and a whole capture beside the sum of its decodes and serialisations.
//
// --write-snapshot=FILE writes the sensor's property list and runs nothing.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "bench/captured_device.h"
#include "bench/sensor_snapshot.h"
#include "profile/profile_exports.h"
#include "propertylist/property_list_reader.h"
#include "state/state_host.h"
#include "tests/support/property_list_objects.h"

namespace {

using namespace hub::bench;
using hub::platform::OwnedStateData;

Bytes property_list_of(const os_state_data_s& record) {
  const auto* data = reinterpret_cast<const std::byte*>(record.data);
  return {data, data + record.data_size_bytes};
}

// Throws when another handler stands there.
OwnedStateData snapshot_of(std::size_t handler, std::string_view title) {
  OwnedStateData record = hub::platform::ask_state_handler(handler, OS_STATE_API_REQUEST);
  if (record == nullptr || !std::string_view(record->title).starts_with(title)) {
    throw std::runtime_error("no handler of \"" + std::string(title) + "\" stands at " + std::to_string(handler));
  }
  return record;
}

void one_snapshot(benchmark::State& state, std::size_t handler, std::string_view title) {
  const CapturedDevice device;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(snapshot_of(handler, title));
  }
}
BENCHMARK_CAPTURE(one_snapshot, button_statistics, kSSHBStatistics, "SSHB Statistics");
BENCHMARK_CAPTURE(one_snapshot, button_assets, kSSHBAssets, "SSHB assets");
BENCHMARK_CAPTURE(one_snapshot, sensor_info, kSensorInfo, "SensorInfo");
BENCHMARK_CAPTURE(one_snapshot, raw_debug_of_32_reports, kFirmwareReports, "NEB Profile 0 ;count=32 ;type=fw");

void decoding_32_reports(benchmark::State& state) {
  const CapturedDevice device;  // with its time-sync service
  while (state.KeepRunning()) {
    for (const _HubProfileReport& report : CapturedDevice::reports()) {
      CFRelease(CopyProfileDescription(&report));
    }
  }
}
BENCHMARK(decoding_32_reports);

Bytes example_sensor_snapshot() {
  const CapturedDevice device;
  return property_list_of(*snapshot_of(kSensorInfo, "SensorInfo"));
}

using MakeSnapshot = std::size_t (*)(const std::vector<SnapshotEntry>& entries, Bytes* bytes);

// The same values as the example's handler gives, in whatever order a library writes them.
void expect_contents(MakeSnapshot make, const std::vector<SnapshotEntry>& entries, const Bytes& expected) {
  Bytes made;
  make(entries, &made);
  const auto made_objects = hub::test::objects_of(hub::platform::read_property_list(made));
  const auto expected_objects = hub::test::objects_of(hub::platform::read_property_list(expected));
  if (!CFEqual(made_objects.get(), expected_objects.get())) {
    throw std::runtime_error("the made snapshot is not the sensor's");
  }
}

void snapshot_of_values_at_hand(benchmark::State& state, MakeSnapshot make) {
  const Bytes expected = example_sensor_snapshot();
  const std::vector<SnapshotEntry> entries = entries_of(expected);
  expect_contents(make, entries, expected);
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(make(entries, nullptr));
  }
  state.counters["entries"] = static_cast<double>(entries.size());
}
BENCHMARK_CAPTURE(snapshot_of_values_at_hand, ours, make_snapshot)->Name("sensor_snapshot");
BENCHMARK_CAPTURE(snapshot_of_values_at_hand, libplist, make_snapshot_by_libplist)->Name("sensor_snapshot_by_libplist");

void whole_capture(benchmark::State& state) {
  const CapturedDevice device;
  while (state.KeepRunning()) {
    hub::platform::capture_state(OS_STATE_API_REQUEST,
                                 [&](std::size_t, OwnedStateData record) { benchmark::DoNotOptimize(record.get()); });
  }
}
BENCHMARK(whole_capture)->Unit(benchmark::kMillisecond);

// One snapshot of a capture: its contents, or how many reports are decoded to be its contents.
struct CapturedSnapshot {
  hub::platform::Owned<CFTypeRef> contents;
  std::size_t decoded_reports;
};

void serialise(CFTypeRef contents, Bytes* bytes = nullptr) {
  const hub::platform::Owned data(
      CFPropertyListCreateData(kCFAllocatorDefault, contents, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  if (bytes != nullptr) {
    const auto* begin = reinterpret_cast<const std::byte*>(CFDataGetBytePtr(data.get()));
    bytes->assign(begin, begin + CFDataGetLength(data.get()));
  }
}

// Lines are serialised once in their lives, and only then is a line's hash computed: they have to be new ones each
// time. The array borrows them, so that it costs next to nothing.
void decode_and_serialise(std::size_t report_count, Bytes* bytes = nullptr) {
  std::array<const void*, CapturedDevice::kReportsPerRead> lines;
  const auto reports = std::span(CapturedDevice::reports()).first(report_count);
  std::transform(reports.begin(), reports.end(), lines.begin(),
                 [](const _HubProfileReport& report) { return CopyProfileDescription(&report); });
  const hub::platform::Owned array(
      CFArrayCreate(kCFAllocatorDefault, lines.data(), static_cast<CFIndex>(report_count), nullptr));
  serialise(array.get(), bytes);
  std::for_each_n(lines.begin(), report_count, CFRelease);
}

// Raw debug data is an array of lines, everything else a dictionary. Throws when a snapshot would be written as others
// bytes than the capture's.
std::vector<CapturedSnapshot> capture() {
  std::vector<CapturedSnapshot> snapshots;
  hub::platform::capture_state(OS_STATE_API_REQUEST, [&](std::size_t, OwnedStateData record) {
    const Bytes captured = property_list_of(*record);
    auto contents = hub::test::objects_of(hub::platform::read_property_list(captured));
    Bytes again;
    serialise(contents.get(), &again);
    if (again != captured) {
      throw std::runtime_error(std::string(record->title) + " is not written as it was captured");
    }
    const bool raw = CFGetTypeID(contents.get()) == CFArrayGetTypeID();
    const CFIndex lines = raw ? CFArrayGetCount(static_cast<CFArrayRef>(contents.get())) : 0;
    if (raw) {
      decode_and_serialise(static_cast<std::size_t>(lines), &again);
      if (again != captured) {
        throw std::runtime_error(std::string(record->title) + " does not hold the lines of the reports");
      }
    }
    snapshots.push_back({std::move(contents), static_cast<std::size_t>(lines)});
  });
  return snapshots;
}

void decodes_and_serialisations_of_a_capture(benchmark::State& state) {
  const CapturedDevice device;
  const std::vector<CapturedSnapshot> snapshots = capture();
  while (state.KeepRunning()) {
    for (const CapturedSnapshot& snapshot : snapshots) {
      if (snapshot.decoded_reports != 0) {
        decode_and_serialise(snapshot.decoded_reports);
      } else {
        serialise(snapshot.contents.get());
      }
    }
  }
  state.counters["snapshots"] = static_cast<double>(snapshots.size());
}
BENCHMARK(decodes_and_serialisations_of_a_capture)->Unit(benchmark::kMillisecond);

void write_snapshot(const char* file) {
  const Bytes bytes = example_sensor_snapshot();
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) {
    throw std::runtime_error(std::string(file) + ": cannot be written");
  }
}

}  // namespace

int main(int count, char** arguments) try {
  constexpr std::string_view kWriteSnapshot = "--write-snapshot=";
  if (count == 2 && std::string_view(arguments[1]).starts_with(kWriteSnapshot)) {
    write_snapshot(arguments[1] + kWriteSnapshot.size());
    return EXIT_SUCCESS;
  }
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
    return EXIT_FAILURE;
  }
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  std::cerr << "snapshot_bench: " << error.what() << '\n';
  return EXIT_FAILURE;
}
