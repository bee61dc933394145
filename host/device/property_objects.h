// SPDX-License-Identifier: Apache-2.0
// Property values of a device file as CoreFoundation objects.
#pragma once

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/owned.h"
#include "host/device/device_file.h"

namespace hub::host {

// A dictionary of these properties. Throws std::bad_alloc.
platform::Owned<CFDictionaryRef> create_dictionary(const Properties& properties);

}  // namespace hub::host
