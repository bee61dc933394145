/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The registry of the machine's services: finding one and reading its properties [any thread].
 *
 * Handles. A service is named by a handle. Each call that gives one counts a reference, which the caller gives back
 * with IOObjectRelease; one service has the same handle in all of them while any reference is held.
 */
#ifndef IOKIT_IOKITLIB_H
#define IOKIT_IOKITLIB_H

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOReturn.h"

PLATFORM_BEGIN_C

typedef uint32_t mach_port_t;
typedef mach_port_t io_object_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_service_t;
typedef UInt32 IOOptionBits;

#define kIOMasterPortDefault ((mach_port_t)0)
#define IO_OBJECT_NULL ((io_object_t)0)

#define kIOProviderClassKey "IOProviderClass"

/* A new matching dictionary for the services of this class (by equality). NULL when there is no memory. */
PLATFORM_EXPORT CFMutableDictionaryRef IOServiceMatching(const char* class_name);

/*
 * The first service, in the order of the registry's tree (a service before its children, children before the next
 * sibling), that fits every key of the dictionary; a key that is no matching key fits nothing. Takes over one reference
 * to the dictionary in any case. IO_OBJECT_NULL when nothing fits or the dictionary is NULL.
 */
PLATFORM_EXPORT io_service_t IOServiceGetMatchingService(mach_port_t main_port, CFDictionaryRef matching);

/* A property of a service as it is now; the caller owns it. NULL when there is none, or no such service. */
PLATFORM_EXPORT CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                                          CFAllocatorRef allocator, IOOptionBits options);

/* One more reference to a handle, or one less. kIOReturnBadArgument when the handle is not held. */
PLATFORM_EXPORT kern_return_t IOObjectRetain(io_object_t object);
PLATFORM_EXPORT kern_return_t IOObjectRelease(io_object_t object);

PLATFORM_END_C

#endif
