// SPDX-License-Identifier: Apache-2.0
// What must be the same before and after an input.
#pragma once

#include <array>
#include <cstdint>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/corefoundation_host.h"
#include "registry/service_backend.h"

namespace hub::fuzz {

// How many objects, handles and connections there are.
inline std::array<std::int64_t, 7> things_held() {
  return {platform::live_objects(CFStringGetTypeID()),
          platform::live_objects(CFNumberGetTypeID()),
          platform::live_objects(CFDictionaryGetTypeID()),
          platform::live_objects(CFArrayGetTypeID()),
          platform::live_objects(CFDataGetTypeID()),
          static_cast<std::int64_t>(platform::held_registry_references()),
          static_cast<std::int64_t>(platform::open_connections())};
}

}  // namespace hub::fuzz
