/* SPDX-License-Identifier: Apache-2.0 */
/* The kernel's return codes: 0 for success, else one of the numbers below. */
#ifndef IOKIT_IORETURN_H
#define IOKIT_IORETURN_H

#include <stdint.h>

typedef int32_t kern_return_t;
typedef kern_return_t IOReturn;

#define kIOReturnSuccess ((IOReturn)0)
#define kIOReturnNoDevice ((IOReturn)0xE00002C0)    /* there is no such entry */
#define kIOReturnBadArgument ((IOReturn)0xE00002C2) /* no such handle, or one that is not held */

#endif
