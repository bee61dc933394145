// SPDX-License-Identifier: Apache-2.0
// The example device with the plug-in on it, to be captured again and again.
#pragma once

#include <cstddef>
#include <vector>

#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/plugin_loader.h"
#include "profile/profile_report.h"

namespace hub::bench {

// The handlers of the example device: the button's two, then the raw-debug handlers (firmware, driver, errors), then
// those of the sensors, of which the accelerometer is the first.
inline constexpr std::size_t kSSHBStatistics = 0;
inline constexpr std::size_t kSSHBAssets = 1;
inline constexpr std::size_t kFirmwareReports = 2;
inline constexpr std::size_t kSensorInfo = 2 + 48 + 8 + 48;

// The plug-in is not scheduled, so that handlers run on the caller's thread. Profile buffers are never empty: each read
// gives the same reports. There is one at a time.
class CapturedDevice {
 public:
  CapturedDevice();
  CapturedDevice(const CapturedDevice&) = delete;
  CapturedDevice& operator=(const CapturedDevice&) = delete;
  ~CapturedDevice();

  // What each read of a profile buffer gives: the firmware's first 32 reports.
  static constexpr std::size_t kReportsPerRead = 32;
  static const std::vector<_HubProfileReport>& reports();

 private:
  host::Observations observations_;
  host::ModelledRegistry registry_;
  host::LoadedPlugIn plugin_;
};

}  // namespace hub::bench
