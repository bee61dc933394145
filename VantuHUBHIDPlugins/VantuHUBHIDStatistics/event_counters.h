// SPDX-License-Identifier: Apache-2.0
// What the services that deliver a sensor's events to the application processor have counted.
#pragma once

#include <optional>

#include "IOKit/IOKitLib.h"
#include "sensor_texts.h"

// The counters below a device: of its first child's first child, and of that one's first child. A counter that is not
// there shows as -1, a time as 0. Nothing when one of the three levels is missing. [plug-in queue]
std::optional<SensorText> eventCountersText(io_service_t device);
