/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Arrays: values in order.
 *
 * The callbacks say how values are kept; NULL in place of the structure or of a member means that pointers are stored
 * and compared as they are. With kCFTypeArrayCallBacks values are CoreFoundation objects: retained while they are in
 * the array, compared with CFEqual.
 */
#ifndef COREFOUNDATION_CFARRAY_H
#define COREFOUNDATION_CFARRAY_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

typedef struct CFArrayCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef allocator, const void* value);
  void (*release)(CFAllocatorRef allocator, const void* value);
  CFStringRef (*copyDescription)(const void* value);
  Boolean (*equal)(const void* first, const void* second);
} CFArrayCallBacks;

PLATFORM_EXPORT extern const CFArrayCallBacks kCFTypeArrayCallBacks;

PLATFORM_EXPORT CFTypeID CFArrayGetTypeID(void);

/* A new immutable array of `count` values. NULL when there is no memory. */
PLATFORM_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                                         const CFArrayCallBacks* callbacks);

/* A new empty array. `capacity` is a hint; the array grows as needed. NULL when there is no memory. */
PLATFORM_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                       const CFArrayCallBacks* callbacks);

PLATFORM_EXPORT CFIndex CFArrayGetCount(CFArrayRef array);

/* The value at an index from 0 to the count less 1, lent. Any other index is a misuse. */
PLATFORM_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

/*
 * Adds a value at the end. When there is no memory the array stays as it was. An immutable array is a misuse.
 */
PLATFORM_EXPORT void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

PLATFORM_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef array);

PLATFORM_END_C

#endif
