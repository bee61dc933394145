/* SPDX-License-Identifier: Apache-2.0 */
/* Plug-in objects for the services of the registry: the way to the interfaces that a driver offers to programs. */
#ifndef IOKIT_IOCFPLUGIN_H
#define IOKIT_IOCFPLUGIN_H

#include "CoreFoundation/CFPlugInCOM.h"
#include "IOKit/IOKitLib.h"

PLATFORM_BEGIN_C

/* The interface that a plug-in object is handed out as. Its QueryInterface gives the driver's own. */
typedef struct IOCFPlugInInterface {
  IUNKNOWN_C_GUTS;
} IOCFPlugInInterface;

/* C244E858-109C-11D4-91D4-0050E4C6426F: that interface's id. */
#define kIOCFPlugInInterfaceID                                                                                    \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, \
                                 0xD4, 0x00, 0x50, 0xE4, 0xC6, 0x42, 0x6F)

/*
 * A plug-in object of this type for a service, with one reference for the caller. `score` says how well it fits: 0.
 *   kIOReturnBadArgument   the handle is not held, or the interface is another than kIOCFPlugInInterfaceID
 *   kIOReturnUnsupported   the service has no plug-in of this type
 * or the driver's own code; *plugin is NULL then. [any thread]
 */
PLATFORM_EXPORT kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef plugin_type,
                                                                CFUUIDRef interface_type, IOCFPlugInInterface*** plugin,
                                                                SInt32* score);

PLATFORM_END_C

#endif
