/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The base of every CoreFoundation object: scalar types, reference counts, identity.
 *
 * Ownership. A function with "Create" or "Copy" in its name hands the caller one reference, which the caller gives back
 * with CFRelease. A function with "Get" lends: the object stays valid as long as what it was got from holds it.
 * Constant objects (CFSTR, the constant allocators) have no count: retaining and releasing them does nothing.
 *
 * Threads. Reference counts are atomic and immutable objects may be shared freely [any thread]. A mutable object is
 * used by one thread at a time.
 *
 * Misuse. An argument that must be an object and is NULL, and a release of an object that nobody owns any more, end the
 * process with a sentence on standard error.
 */
#ifndef COREFOUNDATION_CFBASE_H
#define COREFOUNDATION_CFBASE_H

#include <stddef.h>
#include <stdint.h>

#include "platform_abi.h"

PLATFORM_BEGIN_C

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFUUID* CFUUIDRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

/* Takes one more reference and returns the object. */
PLATFORM_EXPORT CFTypeRef CFRetain(CFTypeRef object);

/* Gives one reference back; the last one frees the object through the allocator that it was created with. */
PLATFORM_EXPORT void CFRelease(CFTypeRef object);

/* The number of references at this moment. For diagnostics: another thread may change it at once. */
PLATFORM_EXPORT CFIndex CFGetRetainCount(CFTypeRef object);

/* The type of an object, to compare with CF…GetTypeID(). The numbers differ between types and mean nothing else. */
PLATFORM_EXPORT CFTypeID CFGetTypeID(CFTypeRef object);

/* True for one and the same object, and for two of one type with equal contents. */
PLATFORM_EXPORT Boolean CFEqual(CFTypeRef first, CFTypeRef second);

/* Equal objects have equal hashes. */
PLATFORM_EXPORT CFHashCode CFHash(CFTypeRef object);

/* The allocator that the object was created with; lent. Never NULL. */
PLATFORM_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef object);

PLATFORM_END_C

#endif
