// SPDX-License-Identifier: Apache-2.0
// What the rest of the platform asks the registry.
#pragma once

#include <memory>
#include <optional>

#include "IOKit/IOKitLib.h"
#include "registry/service_backend.h"

namespace hub::platform {

// The entry behind a handle that is held.
struct HeldEntry {
  RegistryEntryId id;
  std::shared_ptr<ServiceBackend> backend;  // may be null
};

// Nothing when the handle is not held.
std::optional<HeldEntry> held_entry(io_registry_entry_t handle);

}  // namespace hub::platform
