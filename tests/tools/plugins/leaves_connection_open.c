/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in that opens a connection to each service's user client and does not close it. */
#include "session_filter.h"

static void connect(void* self, IOHIDServiceRef service) {
  (void)self;
  (void)service;
  const io_service_t handle = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("button"));
  io_connect_t connection = IO_OBJECT_NULL;
  IOServiceOpen(handle, mach_task_self(), 0, &connection);
  IOObjectRelease(handle);
}

SESSION_FILTER(table.registerService = connect)
