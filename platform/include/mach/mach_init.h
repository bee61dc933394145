/* SPDX-License-Identifier: Apache-2.0 */
/* The kernel's names for things: ports. */
#ifndef MACH_MACH_INIT_H
#define MACH_MACH_INIT_H

#include <stdint.h>

typedef uint32_t mach_port_t;

/* The task that a call is made for: this process, the only one here. */
#define mach_task_self() ((mach_port_t)1)

#endif
