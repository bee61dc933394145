// SPDX-License-Identifier: Apache-2.0
// How much there is of all that the platform counts.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDService.h"
#include "corefoundation/corefoundation_host.h"
#include "dispatch/dispatch_host.h"
#include "notify/notify_host.h"
#include "registry/registry_host.h"
#include "registry/service_backend.h"
#include "state/state_host.h"

namespace hub::test {

// How many of what is counted there are now, by name.
using Counts = std::map<std::string, std::int64_t>;

inline Counts live_counts() {
  return {
      {"allocators", platform::live_objects(CFAllocatorGetTypeID())},
      {"strings", platform::live_objects(CFStringGetTypeID())},
      {"numbers", platform::live_objects(CFNumberGetTypeID())},
      {"dictionaries", platform::live_objects(CFDictionaryGetTypeID())},
      {"data", platform::live_objects(CFDataGetTypeID())},
      {"arrays", platform::live_objects(CFArrayGetTypeID())},
      {"identifiers", platform::live_objects(CFUUIDGetTypeID())},
      {"HID services", platform::live_objects(IOHIDServiceGetTypeID())},
      {"HID devices", platform::live_objects(IOHIDDeviceGetTypeID())},
      {"registry handles", static_cast<std::int64_t>(platform::held_registry_references())},
      {"connections", static_cast<std::int64_t>(platform::open_connections())},
      {"queues", platform::live_queues()},
      {"notifications", static_cast<std::int64_t>(platform::notification_registrations())},
      {"state handlers", static_cast<std::int64_t>(platform::state_handlers())},
  };
}

}  // namespace hub::test
