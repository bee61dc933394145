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
#include "mach/mach_init.h"

PLATFORM_BEGIN_C

typedef mach_port_t io_object_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_service_t;
typedef io_object_t io_connect_t;
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
 * to the dictionary in any case. IO_OBJECT_NULL when nothing fits, the dictionary is NULL, or there is no memory
 * for a handle.
 */
PLATFORM_EXPORT io_service_t IOServiceGetMatchingService(mach_port_t main_port, CFDictionaryRef matching);

/* A property of a service as it is now; the caller owns it. NULL when there is none, or no such service. */
PLATFORM_EXPORT CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                                          CFAllocatorRef allocator, IOOptionBits options);

/*
 * The entry above, or the first one below. kIOReturnNoDevice when there is none (above a root, below a leaf);
 * kIOReturnBadArgument when the handle is not held or the plane is not kIOServicePlane; kIOReturnNoMemory when there is
 * none for a handle. The handle out is IO_OBJECT_NULL then.
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

/*
 * Opens a connection to a service's user client; the caller closes it. kIOReturnBadArgument when the handle is not
 * held, kIOReturnUnsupported when the service has no user client, kIOReturnNoMemory, or the driver's own code;
 * *connection is IO_OBJECT_NULL then. The connection outlives the handle.
 */
PLATFORM_EXPORT kern_return_t IOServiceOpen(io_service_t service, mach_port_t owning_task, uint32_t type,
                                            io_connect_t* connection);

/* Closes it. kIOReturnNotOpen when it is not open. */
PLATFORM_EXPORT kern_return_t IOServiceClose(io_connect_t connection);

/*
 * Calls a method of the user client: `selector` names it; scalars and a structure go in, and the same come out. The
 * lengths of the outputs (scalars counted, the structure in bytes) hold the room before and what was written
 * afterwards. Inputs and outputs that a method does not have are NULL with no length. kIOReturnNotOpen when the
 * connection is not open, kIOReturnNoMemory, or the driver's own code; the outputs' contents and lengths are then left
 * as they were.
 */
PLATFORM_EXPORT kern_return_t IOConnectCallMethod(io_connect_t connection, uint32_t selector, const uint64_t* input,
                                                  uint32_t input_count, const void* input_structure,
                                                  size_t input_structure_bytes, uint64_t* output,
                                                  uint32_t* output_count, void* output_structure,
                                                  size_t* output_structure_bytes);

PLATFORM_END_C

#endif
