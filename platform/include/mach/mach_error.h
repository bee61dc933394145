/* SPDX-License-Identifier: Apache-2.0 */
/* Texts for the kernel's return codes. */
#ifndef MACH_MACH_ERROR_H
#define MACH_MACH_ERROR_H

#include "IOKit/IOReturn.h"
#include "platform_abi.h"

PLATFORM_BEGIN_C

/* A constant text, or NULL when there is none for this code: the codes named in IOKit/IOReturn.h have one, success has
 * not. [any thread] */
PLATFORM_EXPORT const char* mach_error_string(kern_return_t code);

PLATFORM_END_C

#endif
