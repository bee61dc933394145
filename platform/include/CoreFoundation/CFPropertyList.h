/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Property lists: trees of strings, numbers, booleans, data, arrays and dictionaries, as bytes.
 */
#ifndef COREFOUNDATION_CFPROPERTYLIST_H
#define COREFOUNDATION_CFPROPERTYLIST_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

typedef CFTypeRef CFPropertyListRef;
typedef struct __CFError* CFErrorRef;

typedef CFIndex CFPropertyListFormat;
enum {
  kCFPropertyListBinaryFormat_v1_0 = 200 /* the one format of this platform */
};

/*
 * The bytes of a property list; the caller owns them. NULL when the tree holds an object of another type, a dictionary
 * key that is no string, or itself; when the format is another; and when there is no memory. `options` is 0. `error`
 * may be NULL; nothing is stored there. [any thread]
 */
PLATFORM_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef property_list,
                                                   CFPropertyListFormat format, CFOptionFlags options,
                                                   CFErrorRef* error);

PLATFORM_END_C

#endif
