// SPDX-License-Identifier: Apache-2.0
// The face by which a host decides what the kernel answers. [any thread]
#pragma once

#include <sys/time.h>

#include "platform_abi.h"

namespace hub::platform {

// From now on the boot-time query gives this value, as it stands.
PLATFORM_EXPORT void set_boot_time(const timeval& boot_time);

// From now on the boot-time query fails with this errno.
PLATFORM_EXPORT void fail_boot_time(int error_number);

// From now on the boot-time query gives this machine's boot time again, as it does when the process starts.
PLATFORM_EXPORT void use_machine_boot_time();

}  // namespace hub::platform
