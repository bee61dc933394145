/* SPDX-License-Identifier: Apache-2.0 */
/* HID devices: what HID services belong to. */
#ifndef IOKIT_HID_IOHIDDEVICE_H
#define IOKIT_HID_IOHIDDEVICE_H

#include "IOKit/IOKitLib.h"

PLATFORM_BEGIN_C

typedef struct __IOHIDDevice* IOHIDDeviceRef; /* a CoreFoundation object */

PLATFORM_EXPORT CFTypeID IOHIDDeviceGetTypeID(void);

/*
 * A new object for the HID device behind a registry entry; the caller owns it. NULL when the handle is not held, when
 * the entry is no HID device, and when there is no memory. [any thread]
 */
PLATFORM_EXPORT IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef allocator, io_service_t service);

PLATFORM_END_C

#endif
