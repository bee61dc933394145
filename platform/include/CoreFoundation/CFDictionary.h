/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Dictionaries: values by key, in the order in which the keys were first set.
 *
 * The callbacks say how keys and values are kept; NULL in place of a structure or of a member means that pointers are
 * stored and compared as they are. With the kCFType… structures keys and values are CoreFoundation objects: retained
 * while they are in the dictionary, compared with CFEqual.
 */
#ifndef COREFOUNDATION_CFDICTIONARY_H
#define COREFOUNDATION_CFDICTIONARY_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

typedef struct CFDictionaryKeyCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef allocator, const void* value);
  void (*release)(CFAllocatorRef allocator, const void* value);
  CFStringRef (*copyDescription)(const void* value);
  Boolean (*equal)(const void* first, const void* second);
  CFHashCode (*hash)(const void* value);
} CFDictionaryKeyCallBacks;

typedef struct CFDictionaryValueCallBacks {
  CFIndex version; /* 0 */
  const void* (*retain)(CFAllocatorRef allocator, const void* value);
  void (*release)(CFAllocatorRef allocator, const void* value);
  CFStringRef (*copyDescription)(const void* value);
  Boolean (*equal)(const void* first, const void* second);
} CFDictionaryValueCallBacks;

PLATFORM_EXPORT extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
PLATFORM_EXPORT extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

PLATFORM_EXPORT CFTypeID CFDictionaryGetTypeID(void);

/* A new immutable dictionary of `count` pairs; of equal keys the first counts. NULL when there is no memory. */
PLATFORM_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                                   const CFDictionaryValueCallBacks* value_callbacks);

/* A new empty dictionary. `capacity` is a hint; the dictionary grows as needed. NULL when there is no memory. */
PLATFORM_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                                 const CFDictionaryValueCallBacks* value_callbacks);

PLATFORM_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);

PLATFORM_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key);

/* The value of a key, lent; NULL when there is none (or when the value is NULL). */
PLATFORM_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

/* True and the value, lent, when the key is there. `value` may be NULL. */
PLATFORM_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value);

/* All keys and values, lent, into arrays of CFDictionaryGetCount elements; each may be NULL. */
PLATFORM_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values);

/*
 * Add sets a key that is not there yet, Set sets it in any case, Remove takes it out when it is there. When there is no
 * memory the dictionary stays as it was. An immutable dictionary is a misuse.
 */
PLATFORM_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
PLATFORM_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
PLATFORM_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);
PLATFORM_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary);

PLATFORM_END_C

#endif
