/* SPDX-License-Identifier: Apache-2.0 */
/* Immutable bytes. */
#ifndef COREFOUNDATION_CFDATA_H
#define COREFOUNDATION_CFDATA_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

PLATFORM_EXPORT CFTypeID CFDataGetTypeID(void);

/* New data with a copy of the bytes; `bytes` may be NULL when `length_bytes` is 0. NULL when there is no memory. */
PLATFORM_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length_bytes);

PLATFORM_EXPORT CFIndex CFDataGetLength(CFDataRef data);

/* The bytes, lent. Never NULL. */
PLATFORM_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef data);

PLATFORM_END_C

#endif
