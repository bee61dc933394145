// SPDX-License-Identifier: Apache-2.0
#include "bench/captured_device.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <variant>

#include "state/state_host.h"

namespace hub::bench {
namespace {

constexpr std::size_t kBytesPerRead = CapturedDevice::kReportsPerRead * sizeof(_HubProfileReport);

host::Device device_with_full_buffers() {
  host::Device device = host::read_device_file(HUB_EXAMPLE_DEVICE);
  const host::Answer full{0, [] {
                            host::Bytes bytes(kBytesPerRead);
                            std::memcpy(bytes.data(), CapturedDevice::reports().data(), kBytesPerRead);
                            return bytes;
                          }()};
  for (host::Node& node : device.registry) {
    if (node.name == "NEB_profile") {
      node.user_client->properties.at(209) = full;
    }
    if (node.name == "VantuHUBProfileDriver") {
      for (auto& [method, plan] : node.user_client->methods) {
        plan = full;
      }
    }
  }
  return device;
}

std::vector<_HubProfileReport> read_reports() {
  const host::Device device = host::read_device_file(HUB_EXAMPLE_DEVICE);
  const auto profile = std::find_if(device.registry.begin(), device.registry.end(),
                                    [](const host::Node& node) { return node.name == "NEB_profile"; });
  host::Bytes bytes = std::get<host::Drain>(profile->user_client->properties.at(209)).bytes;
  bytes.resize(kBytesPerRead);
  std::vector<_HubProfileReport> reports(CapturedDevice::kReportsPerRead);
  std::memcpy(reports.data(), bytes.data(), kBytesPerRead);
  return reports;
}

}  // namespace

const std::vector<_HubProfileReport>& CapturedDevice::reports() {
  static const std::vector<_HubProfileReport> reports = read_reports();
  return reports;
}

CapturedDevice::CapturedDevice() : registry_(device_with_full_buffers(), observations_), plugin_(HUB_PLUGIN) {
  plugin_.open();
  for (const host::ModelledService& service : registry_.services()) {
    plugin_.register_service(service.service.get());
  }
}

CapturedDevice::~CapturedDevice() { platform::clear_state_handlers(); }

}  // namespace hub::bench
