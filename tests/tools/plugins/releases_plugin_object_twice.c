/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in that releases the plug-in object of a driver once too often. */
#include "IOKit/hid/IOHIDHubInterface.h"
#include "session_filter.h"

static void make_plugin_object(void* self, IOHIDServiceRef service) {
  (void)self;
  (void)service;
  const io_service_t handle = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("button"));
  IOCFPlugInInterface** object = NULL;
  SInt32 score = 0;
  IOCreatePlugInInterfaceForService(handle, kIOHIDHubDriverPlugInTypeID, kIOCFPlugInInterfaceID, &object, &score);
  (*object)->Release(object);
  (*object)->Release(object);
  IOObjectRelease(handle);
}

SESSION_FILTER(table.registerService = make_plugin_object)
