/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The registry of the machine's services: a tree of entries with ids, names, classes and properties. Finding one,
 * walking from it, reading what it says [any thread].
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

#define kIOServicePlane "IOService" /* the one plane of this platform's tree */

#define kIOProviderClassKey "IOProviderClass"
#define kIONameMatchKey "IONameMatch"
#define kIORegistryEntryIDKey "IORegistryEntryID"

typedef char io_name_t[128]; /* zero-terminated */

/*
 * A new matching dictionary for the services of this class, of this name, or for the one with this registry id; all by
 * equality. NULL when there is no memory.
 */
PLATFORM_EXPORT CFMutableDictionaryRef IOServiceMatching(const char* class_name);
PLATFORM_EXPORT CFMutableDictionaryRef IOServiceNameMatching(const char* name);
PLATFORM_EXPORT CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t registry_id);

/*
 * The first service, in the order of the registry's tree (a service before its children, children before the next
 * sibling), that fits every key of the dictionary; a key that is no matching key fits nothing. Takes over one reference
 * to the dictionary in any case. IO_OBJECT_NULL when nothing fits or the dictionary is NULL.
 */
PLATFORM_EXPORT io_service_t IOServiceGetMatchingService(mach_port_t main_port, CFDictionaryRef matching);

/* A property of a service as it is now; the caller owns it. NULL when there is none, or no such service. */
PLATFORM_EXPORT CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                                          CFAllocatorRef allocator, IOOptionBits options);

/*
 * The entry above, or the first one below. kIOReturnNoDevice when there is none (above a root, below a leaf);
 * kIOReturnBadArgument when the handle is not held or the plane is not kIOServicePlane. The handle out is
 * IO_OBJECT_NULL then.
 */
PLATFORM_EXPORT kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const char* plane,
                                                            io_registry_entry_t* parent);
PLATFORM_EXPORT kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane,
                                                           io_registry_entry_t* child);

/* Copies an entry's name. kIOReturnBadArgument when the handle is not held; the name is left alone then. */
PLATFORM_EXPORT kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name);

/* One more reference to a handle, or one less. kIOReturnBadArgument when the handle is not held. */
PLATFORM_EXPORT kern_return_t IOObjectRetain(io_object_t object);
PLATFORM_EXPORT kern_return_t IOObjectRelease(io_object_t object);

PLATFORM_END_C

#endif
