// SPDX-License-Identifier: Apache-2.0
#include <new>

#include "CoreFoundation/CFPropertyList.h"
#include "corefoundation/contents.h"
#include "failures/failures.h"
#include "propertylist/binary_items.h"
#include "propertylist/binary_writer.h"

using namespace hub::platform;

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef property_list,
                                   CFPropertyListFormat format, CFOptionFlags, CFErrorRef*) try {
  if (fails(Fallible::kCFPropertyListCreateData)) {
    return nullptr;
  }
  object_of(property_list, "CFPropertyListCreateData");
  BinaryItems items(allocator);
  if (format != kCFPropertyListBinaryFormat_v1_0 || !items.collect(property_list)) {
    return nullptr;
  }
  const BinaryWriter writer(items);
  UInt8* bytes = nullptr;
  const CFDataRef data = create_unwritten_data(allocator, writer.size_bytes(), bytes);
  if (data != nullptr) {
    writer.write(reinterpret_cast<std::byte*>(bytes));
  }
  return data;
} catch (const std::bad_alloc&) {
  return nullptr;
}
