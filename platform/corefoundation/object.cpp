// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/object.h"

#include <malloc.h>

#include <cstdlib>

#include "corefoundation/corefoundation_host.h"
#include "corefoundation/misuse.h"

namespace hub::platform {
namespace {

constinit std::atomic<std::int64_t> live_counts[kTypeIdLimit]{};

// What stands in an object's memory when the object is gone and the memory has not been given back yet.
constexpr ObjectClass kFreedClass{0, nullptr, nullptr, nullptr};

// The heap's memory of the objects that were freed last, each with a mark in it: who still uses one of them is found
// out before the memory becomes something else.
class FreedMemory {
 public:
  void add(void* memory) {
    memory = std::construct_at(static_cast<Object*>(memory), kFreedClass, nullptr, 0U);
    if (malloc_usable_size(memory) > kLargestKeptBytes) {
      void* shrunk = std::realloc(memory, sizeof(Object));
      memory = shrunk != nullptr ? shrunk : memory;
    }
    const std::size_t slot = next_.fetch_add(1, std::memory_order_relaxed) % kSlots;
    std::free(slots_[slot].exchange(memory, std::memory_order_acq_rel));
  }

 private:
  static constexpr std::size_t kSlots = 256;
  static constexpr std::size_t kLargestKeptBytes = 1024;

  std::atomic<std::size_t> next_ = 0;
  std::atomic<void*> slots_[kSlots]{};
};

constinit FreedMemory freed_memory;

void free_object(const Object& constant_object) {
  Object& object = const_cast<Object&>(constant_object);  // the last reference is gone: nobody else can see it
  const CFAllocatorRef allocator = object.allocator;
  count_objects(object.type->type_id, -1);
  object.type->destroy(object);
  if (allocator == kCFAllocatorSystemDefault) {
    freed_memory.add(&object);
    return;
  }
  CFAllocatorDeallocate(allocator, &object);
  CFRelease(allocator);
}

}  // namespace

void count_objects(CFTypeID type_id, int change) { live_counts[type_id].fetch_add(change, std::memory_order_relaxed); }

std::int64_t live_objects(CFTypeID type_id) {
  return type_id < kTypeIdLimit ? live_counts[type_id].load(std::memory_order_relaxed) : 0;
}

const Object& object_of(CFTypeRef reference, const char* function) {
  if (reference == nullptr) {
    misuse(function, "NULL in place of an object");
  }
  const auto& object = *static_cast<const Object*>(reference);
  if (object.type == &kFreedClass) {
    misuse(function, "an object that nobody owns any more");
  }
  return object;
}

const Object& object_of(CFTypeRef reference, const ObjectClass& expected, const char* function) {
  const Object& object = object_of(reference, function);
  if (object.type != &expected) {
    misuse(function, "an object of another type");
  }
  return object;
}

const void* retain_member(CFAllocatorRef, const void* value) { return CFRetain(value); }

void release_member(CFAllocatorRef, const void* value) { CFRelease(value); }

}  // namespace hub::platform

using hub::platform::kConstantObject;
using hub::platform::Object;
using hub::platform::object_of;

CFTypeRef CFRetain(CFTypeRef reference) {
  const Object& object = object_of(reference, "CFRetain");
  if (object.references.load(std::memory_order_relaxed) != kConstantObject) {
    object.references.fetch_add(1, std::memory_order_relaxed);
  }
  return reference;
}

void CFRelease(CFTypeRef reference) {
  const Object& object = object_of(reference, "CFRelease");
  if (object.references.load(std::memory_order_relaxed) == kConstantObject) {
    return;
  }
  const std::uint32_t before = object.references.fetch_sub(1, std::memory_order_acq_rel);
  if (before == 0) {
    hub::platform::misuse("CFRelease", "an object that nobody owns any more");
  }
  if (before == 1) {
    hub::platform::free_object(object);
  }
}

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
