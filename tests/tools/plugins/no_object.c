/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in whose factory makes no session filter. */
#include <stddef.h>

#include "CoreFoundation/CFPlugIn.h"

PLATFORM_EXPORT void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef type_id);
PLATFORM_EXPORT void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef type_id) {
  (void)allocator;
  (void)type_id;
  return NULL;
}
