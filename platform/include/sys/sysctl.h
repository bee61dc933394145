/* SPDX-License-Identifier: Apache-2.0 */
/* Kernel state by numeric name, as far as this platform has it: the boot time. */
#ifndef SYS_SYSCTL_H
#define SYS_SYSCTL_H

#include <stddef.h>
#include <sys/time.h>

#include "platform_abi.h"

PLATFORM_BEGIN_C

#define CTL_KERN 1
#define KERN_BOOTTIME                                                                            \
  21 /* struct timeval: when the machine was booted, in seconds since the epoch and microseconds \
      */

/*
 * Reads the value called by the `name_length` numbers of `name` into `old_value`, and its size into `old_length_bytes`,
 * which holds the buffer's size before. 0, or -1 with errno:
 *   ENOENT  no such name
 *   ENOMEM  the buffer is too small
 *   EPERM   `new_value` is not NULL: nothing can be set here
 * or what the host chose for the query to fail with; nothing is written then. The boot time stays the same for the life
 * of the process unless the host sets another [any thread].
 */
PLATFORM_EXPORT int sysctl(int* name, unsigned int name_length, void* old_value, size_t* old_length_bytes,
                           void* new_value, size_t new_length_bytes);

PLATFORM_END_C

#endif
