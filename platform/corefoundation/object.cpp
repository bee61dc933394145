// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/object.h"

#include "corefoundation/corefoundation_host.h"
#include "corefoundation/misuse.h"

namespace hub::platform {
constinit const ObjectClass kFreedClass{0, nullptr, nullptr, nullptr};

void free_object(const Object& constant_object) {
  Object& object = const_cast<Object&>(constant_object);  // the last reference is gone: nobody else can see it
  const CFAllocatorRef allocator = object.allocator;
  const std::uint16_t steps = object.memory_steps;
  ThreadShare* share = ThreadShare::of_this_thread();
  const CFTypeID type_id = object.type->type_id;
  share != nullptr ? share->count(type_id, -1) : ThreadShare::count_without_share(type_id, -1);
  if (object.type->destroy != nullptr) {
    object.type->destroy(object);
  }
  if (allocator == &heap_allocator) {
    share != nullptr ? share->keep_freed(&object, steps) : std::free(&object);
    return;
  }
  CFAllocatorDeallocate(allocator, &object);
  CFRelease(allocator);
}

void release_shared(const Object& object) {
  if (object.references.load(std::memory_order_relaxed) == kConstantObject) {
    return;
  }
  const std::uint32_t before = add_references(object, UINT32_MAX, std::memory_order_acq_rel);  // minus one
  if (before == 0) {
    misuse("CFRelease", "an object that nobody owns any more");
  }
  if (before == 1) {
    free_object(object);
  }
}

void refuse_object(CFTypeRef reference, const char* function) {
  if (reference == nullptr) {
    misuse(function, "NULL in place of an object");
  }
  if (static_cast<const Object*>(reference)->type == &kFreedClass) {
    misuse(function, "an object that nobody owns any more");
  }
  misuse(function, "an object of another type");
}

std::int64_t live_objects(CFTypeID type_id) { return type_id < kTypeIdLimit ? ThreadShare::count_of_all(type_id) : 0; }

const void* retain_member(CFAllocatorRef, const void* value) {
  retain(object_of(value, "CFRetain"));
  return value;
}

void release_member(CFAllocatorRef, const void* value) { release(object_of(value, "CFRelease")); }

}  // namespace hub::platform

using hub::platform::Object;
using hub::platform::object_of;

CFTypeRef CFRetain(CFTypeRef reference) {
  hub::platform::retain(object_of(reference, "CFRetain"));
  return reference;
}

void CFRelease(CFTypeRef reference) { hub::platform::release(object_of(reference, "CFRelease")); }

CFIndex CFGetRetainCount(CFTypeRef reference) {
  return static_cast<CFIndex>(object_of(reference, "CFGetRetainCount").references.load(std::memory_order_relaxed));
}

CFTypeID CFGetTypeID(CFTypeRef reference) { return object_of(reference, "CFGetTypeID").type->type_id; }

Boolean CFEqual(CFTypeRef first, CFTypeRef second) {
  const Object& left = object_of(first, "CFEqual");
  const Object& right = object_of(second, "CFEqual");
  return &left == &right || (left.type == right.type && left.type->equal(left, right));
}

CFHashCode CFHash(CFTypeRef reference) {
  const Object& object = object_of(reference, "CFHash");
  return object.type->hash(object);
}

CFAllocatorRef CFGetAllocator(CFTypeRef reference) {
  const Object& object = object_of(reference, "CFGetAllocator");
  return object.allocator != nullptr ? object.allocator : static_cast<CFAllocatorRef>(reference);
}
