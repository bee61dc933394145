// SPDX-License-Identifier: Apache-2.0
// What a host learns of CoreFoundation beyond the public headers.
#pragma once

#include <cstdint>

#include "CoreFoundation/CFUUID.h"

namespace hub::platform {

// How many objects of this type (CFStringGetTypeID() and so on) were created and not freed yet, constant ones not
// counted: 0 when everything that was created has been given back. [any thread]
PLATFORM_EXPORT std::int64_t live_objects(CFTypeID type_id);

// How many instances of the factory with this id were added and not removed. [any thread]
PLATFORM_EXPORT std::int64_t live_plugin_instances(CFUUIDRef factory_id);

}  // namespace hub::platform
