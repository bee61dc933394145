// SPDX-License-Identifier: Apache-2.0
// What a host learns of CoreFoundation beyond the public headers.
#pragma once

#include <cstdint>

#include "CoreFoundation/CFBase.h"

namespace hub::platform {

// How many objects of this type (CFStringGetTypeID() and so on) were created and not freed yet, constant ones not
// counted: 0 when everything that was created has been given back. [any thread]
PLATFORM_EXPORT std::int64_t live_objects(CFTypeID type_id);

}  // namespace hub::platform
