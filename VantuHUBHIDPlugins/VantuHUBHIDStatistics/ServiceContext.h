// SPDX-License-Identifier: Apache-2.0
// One HID service of the sensor co-processor that the plug-in has accepted.
#pragma once

#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDHubInterface.h"

// Filled while the service is registered, and never changed afterwards: the state handlers read it on the plug-in's
// queue without a lock. It lives, with all that it holds, to the end of the process.
struct ServiceContext {
  io_service_t driverService;  // the registry entry with the HID service's registry id
  struct {
    IOHIDHubDriverInterface** _interface;  // to the driver service; NULL when there was none to be had
  } _driver;
  IOHIDDeviceRef hidDevice;    // for button services, NULL for others
  io_service_t deviceService;  // the parent of the driver service's parent
  struct {
    IOHIDHubDeviceInterface** _interface;  // to the device service; NULL when there was none to be had
  } _device;
};
