/* SPDX-License-Identifier: Apache-2.0 */
/* The kernel's return codes: 0 for success, else one of the numbers below or what a driver chooses. */
#ifndef IOKIT_IORETURN_H
#define IOKIT_IORETURN_H

#include <stdint.h>

typedef int32_t kern_return_t;
typedef kern_return_t IOReturn;

#define kIOReturnSuccess ((IOReturn)0)
#define kIOReturnError ((IOReturn)0xE00002BC)
#define kIOReturnNoMemory ((IOReturn)0xE00002BD)
#define kIOReturnNoResources ((IOReturn)0xE00002BE)
#define kIOReturnNoDevice ((IOReturn)0xE00002C0) /* there is no such entry */
#define kIOReturnNotPrivileged ((IOReturn)0xE00002C1)
#define kIOReturnBadArgument ((IOReturn)0xE00002C2) /* no such handle, or one that is not held */
#define kIOReturnUnsupported ((IOReturn)0xE00002C7) /* the service does not have this */
#define kIOReturnNotOpen ((IOReturn)0xE00002CD)     /* no such connection, or one that was closed */
#define kIOReturnTimeout ((IOReturn)0xE00002D6)
#define kIOReturnNotReady ((IOReturn)0xE00002D8)
#define kIOReturnAborted ((IOReturn)0xE00002EB)
#define kIOReturnNotFound ((IOReturn)0xE00002F0)

#endif
