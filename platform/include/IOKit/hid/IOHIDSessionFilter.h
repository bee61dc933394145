/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Session filters: plug-ins that the HID event system offers all its services.
 *
 * The event system makes the object through the plug-in's factory, asks it for the interface below, opens it, schedules
 * it and registers each service, in this order. It calls all entries on one thread at a time.
 */
#ifndef IOKIT_HID_IOHIDSESSIONFILTER_H
#define IOKIT_HID_IOHIDSESSIONFILTER_H

#include <stdbool.h>

#include "CoreFoundation/CFPlugIn.h"
#include "IOKit/IOKitLib.h"
#include "IOKit/hid/IOHIDService.h"
#include "dispatch/dispatch.h"

PLATFORM_BEGIN_C

typedef struct __IOHIDSession* IOHIDSessionRef; /* the event system's session; a plug-in only hands it on */

/* 7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719: the plug-in type that a session filter's factory makes. */
#define kIOHIDSessionFilterPlugInTypeID                                                                           \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x7F, 0x1A, 0x3A, 0xE6, 0x3E, 0x3D, 0x47, 0x0A, 0xBD, \
                                 0x15, 0xA2, 0xDD, 0x7E, 0x1B, 0xB7, 0x19)

/* 19D77441-BBC4-4511-9149-60572A0B015C: the interface below. */
#define kIOHIDSessionFilterPlugInInterfaceID                                                                      \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x19, 0xD7, 0x74, 0x41, 0xBB, 0xC4, 0x45, 0x11, 0x91, \
                                 0x49, 0x60, 0x57, 0x2A, 0x0B, 0x01, 0x5C)

/* 3DC35AA6-D35C-445B-9A59-CA03DA408B97: its second revision, the same table. */
#define kIOHIDSessionFilterPlugInInterfaceID2                                                                     \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x3D, 0xC3, 0x5A, 0xA6, 0xD3, 0x5C, 0x44, 0x5B, 0x9A, \
                                 0x59, 0xCA, 0x03, 0xDA, 0x40, 0x8B, 0x97)

/*
 * The table of 17 entries. An entry that a plug-in leaves NULL is not called. Those without a name are for filters that
 * look at events or follow services in other ways; they are not called here.
 */
typedef struct IOHIDSessionFilterPlugInInterface {
  IUNKNOWN_C_GUTS; /* 0 to 3 */
  void* entry4;
  void* entry5;
  void* entry6;
  bool (*open)(void* self, IOHIDSessionRef session, IOOptionBits options);  /* 7: false: the plug-in is not used */
  void (*close)(void* self, IOHIDSessionRef session, IOOptionBits options); /* 8 */
  void* entry9;
  void* entry10;
  void (*registerService)(void* self, IOHIDServiceRef service); /* 11: once for each service; lent for the call */
  void* entry12;
  void (*scheduleWithDispatchQueue)(void* self, dispatch_queue_t queue);   /* 13: lives until it is unscheduled */
  void (*unscheduleFromDispatchQueue)(void* self, dispatch_queue_t queue); /* 14 */
  void* entry15;
  void* entry16;
} IOHIDSessionFilterPlugInInterface;

PLATFORM_END_C

#endif
