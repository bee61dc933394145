// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFArray.h"

#include <algorithm>
#include <vector>

#include "corefoundation/contents.h"
#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

namespace hub::platform {
namespace {

using Values = std::vector<const void*, StandardAllocator<const void*>>;

constexpr std::size_t kFirstCapacity = 4;

}  // namespace
}  // namespace hub::platform

struct __CFArray : hub::platform::Object {
  __CFArray(CFAllocatorRef owner, bool is_mutable, const CFArrayCallBacks& its_callbacks);
  ~__CFArray() { remove_all(); }
  __CFArray(const __CFArray&) = delete;
  __CFArray& operator=(const __CFArray&) = delete;

  void append(const void* value);
  void remove_all();

  bool can_change;
  CFArrayCallBacks callbacks;
  hub::platform::Values values;
};

namespace hub::platform {
namespace {

void destroy_array(Object& object) noexcept { std::destroy_at(&static_cast<__CFArray&>(object)); }

bool arrays_equal(const Object& first, const Object& second) {
  const auto& left = static_cast<const __CFArray&>(first);
  const auto& right = static_cast<const __CFArray&>(second);
  const auto equal = left.callbacks.equal;
  return right.callbacks.equal == equal &&  // compared in another way, one side's values might be no objects
         std::equal(left.values.begin(), left.values.end(), right.values.begin(), right.values.end(),
                    [equal](const void* value, const void* other) {
                      return value == other || (equal != nullptr && equal(value, other));
                    });
}

CFHashCode hash_of_array(const Object& object) { return static_cast<const __CFArray&>(object).values.size(); }

constexpr ObjectClass kArrayClass{kArrayTypeId, destroy_array, arrays_equal, hash_of_array};

const __CFArray& array_of(CFArrayRef array, const char* function) {
  return static_cast<const __CFArray&>(object_of(array, kArrayClass, function));
}

__CFArray& mutable_array_of(CFMutableArrayRef array, const char* function) {
  if (!array_of(array, function).can_change) {
    misuse(function, "an immutable array");
  }
  return *array;
}

__CFArray* create_array(CFAllocatorRef allocator, bool can_change, const CFArrayCallBacks* callbacks) {
  return create_object<__CFArray>(allocator, 0, can_change, callbacks != nullptr ? *callbacks : CFArrayCallBacks{});
}

}  // namespace

std::span<const void* const> contents_of_array(const Object& array) {
  return static_cast<const __CFArray&>(array).values;
}

}  // namespace hub::platform

using namespace hub::platform;

__CFArray::__CFArray(CFAllocatorRef owner, bool is_mutable, const CFArrayCallBacks& its_callbacks)
    : Object(kArrayClass, owner, 1),
      can_change(is_mutable),
      callbacks(its_callbacks),
      values(StandardAllocator<const void*>(owner)) {}

void __CFArray::append(const void* value) {
  if (values.size() == values.capacity()) {  // what can fail comes before the value is retained
    values.reserve(std::max(kFirstCapacity, values.size() * 2));
  }
  values.push_back(callbacks.retain != nullptr ? callbacks.retain(allocator, value) : value);
}

void __CFArray::remove_all() {
  if (callbacks.release != nullptr) {
    for (const void* value : values) {
      callbacks.release(allocator, value);
    }
  }
  values.clear();
}

const CFArrayCallBacks kCFTypeArrayCallBacks{0, retain_member, release_member, nullptr, CFEqual};

CFTypeID CFArrayGetTypeID(void) { return kArrayTypeId; }

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callbacks) {
  if (fails(Fallible::kCFArrayCreate)) {
    return nullptr;
  }
  __CFArray* array = create_array(allocator, false, callbacks);
  if (array == nullptr) {
    return nullptr;
  }
  try {
    for (CFIndex index = 0; index < count; ++index) {
      array->append(values[index]);
    }
  } catch (const std::bad_alloc&) {
    CFRelease(array);
    return nullptr;
  }
  return array;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex, const CFArrayCallBacks* callbacks) {
  if (fails(Fallible::kCFArrayCreateMutable)) {
    return nullptr;
  }
  return create_array(allocator, true, callbacks);
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(array_of(array, "CFArrayGetCount").values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  const Values& values = array_of(array, "CFArrayGetValueAtIndex").values;
  if (index < 0 || index >= static_cast<CFIndex>(values.size())) {
    misuse("CFArrayGetValueAtIndex", "an index outside the array");
  }
  return values[static_cast<std::size_t>(index)];
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) try {
  mutable_array_of(array, "CFArrayAppendValue").append(value);
} catch (const std::bad_alloc&) {
  return;  // as it was
}

void CFArrayRemoveAllValues(CFMutableArrayRef array) { mutable_array_of(array, "CFArrayRemoveAllValues").remove_all(); }
