// SPDX-License-Identifier: Apache-2.0
// The face by which a host ends the registrations for notifications that nobody cancelled.
#pragma once

#include <cstddef>

#include "platform_abi.h"

namespace hub::platform {

// How many registrations there are. [any thread]
PLATFORM_EXPORT std::size_t notification_registrations();

// Ends all of them and releases their queues. On one of these queues it is a misuse. [any thread but their queues]
PLATFORM_EXPORT void clear_notifications();

}  // namespace hub::platform
