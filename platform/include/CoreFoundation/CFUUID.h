/* SPDX-License-Identifier: Apache-2.0 */
/* Identifiers of 16 bytes, in the order in which their text is written. */
#ifndef COREFOUNDATION_CFUUID_H
#define COREFOUNDATION_CFUUID_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

/* By value in interface calls; the members have no padding between them. */
typedef struct CFUUIDBytes {
  UInt8 byte0;
  UInt8 byte1;
  UInt8 byte2;
  UInt8 byte3;
  UInt8 byte4;
  UInt8 byte5;
  UInt8 byte6;
  UInt8 byte7;
  UInt8 byte8;
  UInt8 byte9;
  UInt8 byte10;
  UInt8 byte11;
  UInt8 byte12;
  UInt8 byte13;
  UInt8 byte14;
  UInt8 byte15;
} CFUUIDBytes;

PLATFORM_EXPORT CFTypeID CFUUIDGetTypeID(void);

/* A new identifier. NULL when there is no memory. */
PLATFORM_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef allocator, CFUUIDBytes bytes);

/* The constant identifier of these bytes: one object per identifier, lent, never freed. Never NULL: like a constant
 * string, one for which there is no memory ends the process. */
PLATFORM_EXPORT CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1,
                                                         UInt8 byte2, UInt8 byte3, UInt8 byte4, UInt8 byte5,
                                                         UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                                         UInt8 byte14, UInt8 byte15);

PLATFORM_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef identifier);

/* The identifier's text, "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719"; the caller owns it. NULL when there is no memory. */
PLATFORM_EXPORT CFStringRef CFUUIDCreateString(CFAllocatorRef allocator, CFUUIDRef identifier);

PLATFORM_END_C

#endif
