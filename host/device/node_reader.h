// SPDX-License-Identifier: Apache-2.0
// The registry of a device file.
#pragma once

#include "host/device/device_file.h"
#include "host/device/json_place.h"

namespace hub::host {

// A registry entry with everything below it. Throws JsonError.
Node read_node(const JsonPlace& at);

}  // namespace hub::host
