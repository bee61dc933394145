// SPDX-License-Identifier: Apache-2.0
// Replies and status codes as a device file states them. All of it throws JsonError.
#pragma once

#include <cstdint>

#include "host/device/json_place.h"
#include "host/device/replies.h"

namespace hub::host {

// What one call gets: bytes in any of their forms, lists of them, a status, a sequence or a drain.
ReplyPlan read_reply(const JsonPlace& at);

// A number from -2147483648 to 4294967295, or "0x" and up to 8 hexadecimal digits.
std::int32_t read_status(const JsonPlace& at);

// A status, or { "sequence": [...] } of them.
StatusPlan read_status_plan(const JsonPlace& at);

}  // namespace hub::host
