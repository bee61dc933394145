// SPDX-License-Identifier: Apache-2.0
// What a host learns of queues beyond the public header.
#pragma once

#include <cstdint>

#include "dispatch/dispatch.h"

namespace hub::platform {

// How many queues were created and have not ended yet. [any thread]
PLATFORM_EXPORT std::int64_t live_queues();

// Whether the caller runs on this queue. [any thread]
PLATFORM_EXPORT bool is_on_queue(dispatch_queue_t queue);

// Ends the process with a sentence about `caller` unless it runs on this queue. [any thread]
PLATFORM_EXPORT void expect_on_queue(dispatch_queue_t queue, const char* caller);

}  // namespace hub::platform
