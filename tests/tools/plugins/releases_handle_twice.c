/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in that gives each service's registry handle back once too often. */
#include "session_filter.h"

static void look_up(void* self, IOHIDServiceRef service) {
  (void)self;
  (void)service;
  const io_service_t handle = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("button"));
  IOObjectRelease(handle);
  IOObjectRelease(handle);
}

SESSION_FILTER(table.registerService = look_up)
