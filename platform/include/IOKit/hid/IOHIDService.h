/* SPDX-License-Identifier: Apache-2.0 */
/* HID services: what the event system announces to its plug-ins. [any thread] */
#ifndef IOKIT_HID_IOHIDSERVICE_H
#define IOKIT_HID_IOHIDSERVICE_H

#include "CoreFoundation/CoreFoundation.h"

PLATFORM_BEGIN_C

typedef struct __IOHIDService* IOHIDServiceRef; /* a CoreFoundation object */

PLATFORM_EXPORT CFTypeID IOHIDServiceGetTypeID(void);

/* A property of the service: Copy hands out a reference, Get lends. NULL when it has none of this name. */
PLATFORM_EXPORT CFTypeRef IOHIDServiceCopyProperty(IOHIDServiceRef service, CFStringRef key);
PLATFORM_EXPORT CFTypeRef IOHIDServiceGetProperty(IOHIDServiceRef service, CFStringRef key);

/* Whether the service is of this usage. */
PLATFORM_EXPORT Boolean IOHIDServiceConformsTo(IOHIDServiceRef service, UInt32 usage_page, UInt32 usage);

/* The registry id of the entry that the service stands for: a number, lent. NULL when it reports none. */
PLATFORM_EXPORT CFTypeRef IOHIDServiceGetRegistryID(IOHIDServiceRef service);

PLATFORM_END_C

#endif
