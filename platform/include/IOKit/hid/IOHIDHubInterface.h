/* SPDX-License-Identifier: Apache-2.0 */
/*
 * What the sensor co-processor's kernel drivers offer to programs: an interface to a service's own driver, and one to
 * the device that it belongs to. Each is had from a plug-in object (IOKit/IOCFPlugIn.h). Entries without a name are the
 * drivers' own business.
 */
#ifndef IOKIT_HID_IOHIDHUBINTERFACE_H
#define IOKIT_HID_IOHIDHUBINTERFACE_H

#include "IOKit/IOCFPlugIn.h"
#include "dispatch/dispatch.h"

PLATFORM_BEGIN_C

/* 3BC5CC87-845E-48AB-A9C2-9436001BA68A: the plug-in type of a service's driver. */
#define kIOHIDHubDriverPlugInTypeID                                                                               \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x3B, 0xC5, 0xCC, 0x87, 0x84, 0x5E, 0x48, 0xAB, 0xA9, \
                                 0xC2, 0x94, 0x36, 0x00, 0x1B, 0xA6, 0x8A)

/* 5979993C-85F5-4D59-8593-FF9215DA47AD */
#define kIOHIDHubDriverInterfaceID                                                                                \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x59, 0x79, 0x99, 0x3C, 0x85, 0xF5, 0x4D, 0x59, 0x85, \
                                 0x93, 0xFF, 0x92, 0x15, 0xDA, 0x47, 0xAD)

typedef struct IOHIDHubDriverInterface {
  IUNKNOWN_C_GUTS; /* 0 to 3 */
  void* entry4;
  void* entry5;
  void* entry6;
  void* entry7;
  IOReturn (*open)(void* self, IOOptionBits options); /* 8: before any command */
  void* entry9;

  /*
   * 10: sends a command; input and output may be NULL. *output_bytes holds the output's room before and the reply's
   * length after success; a longer reply is cut. Any code that is not 0 is the driver's; the output is left alone then.
   */
  IOReturn (*command)(void* self, uint32_t command, const void* input, size_t input_bytes, void* output,
                      size_t* output_bytes);
} IOHIDHubDriverInterface;

/* 7ACF5332-1A35-4893-87CB-BA64E1887FAE: the plug-in type of a device. */
#define kIOHIDHubDevicePlugInTypeID                                                                               \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x7A, 0xCF, 0x53, 0x32, 0x1A, 0x35, 0x48, 0x93, 0x87, \
                                 0xCB, 0xBA, 0x64, 0xE1, 0x88, 0x7F, 0xAE)

/* 016469D8-773B-46AC-909E-F90C4A6E7577 */
#define kIOHIDHubDeviceInterfaceID                                                                                \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x01, 0x64, 0x69, 0xD8, 0x77, 0x3B, 0x46, 0xAC, 0x90, \
                                 0x9E, 0xF9, 0x0C, 0x4A, 0x6E, 0x75, 0x77)

/* Takes a batch of statistics: `count` operation records of 7 bytes each, lent for the call. */
typedef void (*IOHIDHubStatisticsCallback)(void* refcon, void* records, uint64_t count);

typedef struct IOHIDHubDeviceInterface {
  IUNKNOWN_C_GUTS; /* 0 to 3 */
  void* entry4;
  void* entry5;
  void* entry6;
  void* entry7;
  IOReturn (*open)(void* self, IOOptionBits options); /* 8: before anything else */
  void* entry9;
  void* entry10;
  void* entry11;
  void* entry12;
  void* entry13;
  void* entry14;
  void* entry15;
  void* entry16;
  void (*setStatisticsCallback)(void* self, IOHIDHubStatisticsCallback callback, void* refcon); /* 17 */
  void (*setDispatchQueue)(void* self, dispatch_queue_t queue); /* 18: where the callback runs; before the callback */
} IOHIDHubDeviceInterface;

PLATFORM_END_C

#endif
