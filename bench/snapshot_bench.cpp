// SPDX-License-Identifier: Apache-2.0
// Snapshots per second: one handler of each kind on the example device, and a whole capture of it. For comparison, in
// the same run: decoding the 32 reports of a raw-debug snapshot, and nothing else.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/plugin_loader.h"
#include "profile/profile_exports.h"
#include "state/state_host.h"

namespace {

using namespace hub::host;

constexpr std::size_t kReportsPerRead = 32;
constexpr std::size_t kBytesPerRead = kReportsPerRead * sizeof(_HubProfileReport);

// The handlers of the example device: the button's two, then the raw-debug handlers (firmware, driver, errors), then
// those of the sensors, of which the accelerometer is the first.
constexpr std::size_t kSSHBStatistics = 0;
constexpr std::size_t kSSHBAssets = 1;
constexpr std::size_t kFirmwareReports = 2;
constexpr std::size_t kSensorInfo = 2 + 48 + 8 + 48;

// The example device, with profile buffers that are never empty: each read gives 32 of the firmware's reports.
Device device_with_full_buffers() {
  Device device = read_device_file(HUB_EXAMPLE_DEVICE);
  Bytes reports;
  for (Node& node : device.registry) {
    if (node.name == "NEB_profile") {
      ReplyPlan& plan = node.user_client->properties.at(209);
      reports = std::get<Drain>(plan).bytes;
      reports.resize(kBytesPerRead);
      plan = Answer{0, reports};
    }
    if (node.name == "VantuHUBProfileDriver") {
      for (auto& [method, plan] : node.user_client->methods) {
        plan = Answer{0, reports};
      }
    }
  }
  return device;
}

// That device with the plug-in on it. The plug-in is not scheduled, so that handlers run on the benchmark's thread.
class CapturedDevice {
 public:
  CapturedDevice() : registry_(device_with_full_buffers(), observations_), plugin_(HUB_PLUGIN) {
    plugin_.open();
    for (const ModelledService& service : registry_.services()) {
      plugin_.register_service(service.service.get());
    }
  }
  CapturedDevice(const CapturedDevice&) = delete;
  CapturedDevice& operator=(const CapturedDevice&) = delete;
  ~CapturedDevice() { hub::platform::clear_state_handlers(); }

 private:
  Observations observations_;
  ModelledRegistry registry_;
  LoadedPlugIn plugin_;
};

void one_snapshot(benchmark::State& state, std::size_t handler, std::string_view title) {
  const CapturedDevice device;
  for (auto _ : state) {
    const auto record = hub::platform::ask_state_handler(handler, OS_STATE_API_REQUEST);
    if (record == nullptr || !std::string_view(record->title).starts_with(title)) {
      state.SkipWithError("another handler stands there");
      break;
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK_CAPTURE(one_snapshot, button_statistics, kSSHBStatistics, "SSHB Statistics");
BENCHMARK_CAPTURE(one_snapshot, button_assets, kSSHBAssets, "SSHB assets");
BENCHMARK_CAPTURE(one_snapshot, sensor_info, kSensorInfo, "SensorInfo");
BENCHMARK_CAPTURE(one_snapshot, raw_debug_of_32_reports, kFirmwareReports, "NEB Profile 0 ;count=32 ;type=fw");

void decoding_32_reports(benchmark::State& state) {
  Device device = device_with_full_buffers();
  const auto profile = std::find_if(device.registry.begin(), device.registry.end(),
                                    [](const Node& node) { return node.name == "NEB_profile"; });
  std::vector<_HubProfileReport> reports(kReportsPerRead);
  std::memcpy(reports.data(), std::get<Answer>(profile->user_client->properties.at(209)).bytes.data(), kBytesPerRead);
  const CapturedDevice registered;  // with its time-sync service
  for (auto _ : state) {
    for (const _HubProfileReport& report : reports) {
      CFRelease(CopyProfileDescription(&report));
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(decoding_32_reports);

void whole_capture(benchmark::State& state) {
  const CapturedDevice device;
  std::size_t snapshots = 0;
  for (auto _ : state) {
    hub::platform::capture_state(OS_STATE_API_REQUEST,
                                 [&](std::size_t, const hub::platform::OwnedStateData&) { ++snapshots; });
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(snapshots));
}
BENCHMARK(whole_capture)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
