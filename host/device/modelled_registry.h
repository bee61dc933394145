// SPDX-License-Identifier: Apache-2.0
// A device file's co-processor in the platform's registry: its entries, what stands behind them, its HID services.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "IOKit/hid/IOHIDService.h"
#include "corefoundation/owned.h"
#include "host/device/device_file.h"
#include "host/device/device_model.h"
#include "host/device/observations.h"
#include "registry/registry_host.h"

namespace hub::host {

// A HID service to announce, and the device from which its statistics come.
struct ModelledService {
  std::string name;
  platform::Owned<IOHIDServiceRef> service;
  std::shared_ptr<DeviceModel> device;  // of the entry two levels above; null when that has none
};

// Fills the registry, and empties it when it goes. There is one at a time. [host]
class ModelledRegistry {
 public:
  // Throws std::bad_alloc, and the registry is empty.
  ModelledRegistry(const Device& device, Observations& observations);
  ModelledRegistry(const ModelledRegistry&) = delete;
  ModelledRegistry& operator=(const ModelledRegistry&) = delete;
  ~ModelledRegistry();

  // In document order.
  [[nodiscard]] const std::vector<ModelledService>& services() const { return services_; }

  // The devices let go of their queues.
  void forget_callbacks();

 private:
  struct Above;
  ModelledRegistry() = default;
  void add(const Node& node, const Above& above, Observations& observations);
  platform::RegistryEntryId id_of(const Node& node);

  std::set<std::int64_t> taken_ids_;  // those that the file gives
  std::int64_t next_id_ = 1;          // for entries without one
  std::vector<ModelledService> services_;
  std::vector<std::shared_ptr<DeviceModel>> devices_;
};

}  // namespace hub::host
