/* SPDX-License-Identifier: Apache-2.0 */
/* A session filter that does nothing; a library that includes this says in what its own is different. */
#ifndef TESTS_TOOLS_PLUGINS_SESSION_FILTER_H
#define TESTS_TOOLS_PLUGINS_SESSION_FILTER_H

#include <stddef.h>

#include "IOKit/hid/IOHIDSessionFilter.h"

PLATFORM_BEGIN_C
PLATFORM_EXPORT void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef type_id);
PLATFORM_END_C

static inline ULONG keep(void* self) {
  (void)self;
  return 1;
}

static inline HRESULT give_itself(void* self, REFIID iid, LPVOID* out) {
  (void)iid;
  *out = self;
  return S_OK;
}

/* The factory of the library's one object, and what sets other entries of its table. */
/* NOLINTBEGIN(bugprone-macro-parentheses): it is a definition and no expression. */
#define SESSION_FILTER(set_entries)                                                 \
  void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef type_id) { \
    static IOHIDSessionFilterPlugInInterface table;                                 \
    static IOHIDSessionFilterPlugInInterface* object = &table;                      \
    (void)allocator;                                                                \
    (void)type_id;                                                                  \
    table.QueryInterface = give_itself;                                             \
    table.AddRef = keep;                                                            \
    table.Release = keep;                                                           \
    set_entries;                                                                    \
    return &object;                                                                 \
  }
/* NOLINTEND(bugprone-macro-parentheses) */

#endif
