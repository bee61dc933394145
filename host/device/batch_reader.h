// SPDX-License-Identifier: Apache-2.0
// The statistics of a device file.
#pragma once

#include "host/device/device_file.h"
#include "host/device/json_place.h"

namespace hub::host {

// Records for one service, whose name is not looked up. Throws JsonError.
Batch read_batch(const JsonPlace& at);

}  // namespace hub::host
