// SPDX-License-Identifier: Apache-2.0
// What all CoreFoundation objects share: a class, an allocator and a reference count. What each creation, retain,
// release and look-up goes through stands here, so that it is compiled into the functions that do it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "CoreFoundation/CFAllocator.h"
#include "CoreFoundation/CFBase.h"
#include "corefoundation/thread_share.h"
#include "failures/failures.h"

namespace hub::platform {

struct Object;

// One kind of object. There is one constant of it per type.
struct ObjectClass {
  CFTypeID type_id;
  void (*destroy)(Object& object) noexcept;  // lets go what the object holds; null when it holds nothing
  bool (*equal)(const Object& first, const Object& second);  // contents of two objects of this class
  CFHashCode (*hash)(const Object& object);
};

inline constexpr CFTypeID kAllocatorTypeId = 1;
inline constexpr CFTypeID kStringTypeId = 2;
inline constexpr CFTypeID kNumberTypeId = 3;
inline constexpr CFTypeID kDictionaryTypeId = 4;
inline constexpr CFTypeID kBooleanTypeId = 5;
inline constexpr CFTypeID kDataTypeId = 6;
inline constexpr CFTypeID kArrayTypeId = 7;
inline constexpr CFTypeID kUuidTypeId = 8;
inline constexpr CFTypeID kHidServiceTypeId = 9;
inline constexpr CFTypeID kHidDeviceTypeId = 10;
static_assert(kHidDeviceTypeId < kTypeIdLimit);

// A count of kConstantObject stays as it is: the object is never freed.
inline constexpr std::uint32_t kConstantObject = UINT32_MAX;

struct Object {
  constexpr Object(const ObjectClass& object_class, CFAllocatorRef owner, std::uint32_t count)
      : type(&object_class), allocator(owner), references(count) {}

  const ObjectClass* type;
  CFAllocatorRef allocator;  // a reference is held; null for the constant allocators, which belong to themselves
  mutable std::atomic<std::uint32_t> references;
};

// What stands in an object's memory when the object is gone and the memory has not been given back yet.
extern const ObjectClass kFreedClass;

// Says which promise the caller of `function` broke about an object, and ends the process.
[[noreturn]] void refuse_object(CFTypeRef reference, const char* function);

// The object behind a reference; `function` names the caller in the message when it is null or freed.
inline const Object& object_of(CFTypeRef reference, const char* function) {
  const auto* object = static_cast<const Object*>(reference);
  if (object == nullptr || object->type == &kFreedClass) [[unlikely]] {
    refuse_object(reference, function);
  }
  return *object;
}

// The object behind a reference that must be of this class.
inline const Object& object_of(CFTypeRef reference, const ObjectClass& expected, const char* function) {
  const auto* object = static_cast<const Object*>(reference);
  if (object == nullptr || object->type != &expected) [[unlikely]] {
    refuse_object(reference, function);
  }
  return *object;
}

// One reference more.
inline void retain(const Object& object) {
  if (object.references.load(std::memory_order_relaxed) != kConstantObject) {
    object.references.fetch_add(1, std::memory_order_relaxed);
  }
}

// Frees an object that nobody owns any more.
void free_object(const Object& object);

// What is behind the last two cases of release().
void release_shared(const Object& object);

// One reference less.
inline void release(const Object& object) {
  if (object.references.load(std::memory_order_acquire) != 1) {
    release_shared(object);
    return;
  }
  object.references.store(0, std::memory_order_relaxed);  // the only owner is here: nobody else changes the count
  free_object(object);
}

// The process heap.
extern const __CFAllocator heap_allocator;

// CFAllocatorAllocate and CFAllocatorDeallocate, past everything that makes no difference to the heap.
inline void* allocate(CFAllocatorRef allocator, std::size_t length_bytes) {
  if (allocator == &heap_allocator && !failures_are_planned.load(std::memory_order_relaxed)) {
    return std::malloc(length_bytes);
  }
  return CFAllocatorAllocate(allocator, static_cast<CFIndex>(length_bytes), 0);
}

inline void deallocate(CFAllocatorRef allocator, void* memory) {
  if (allocator == &heap_allocator) {
    std::free(memory);
  } else {
    CFAllocatorDeallocate(allocator, memory);
  }
}

// Takes an object that was just created out of the counts, and keeps it for ever.
template <typename T>
void make_constant(T& object) {
  object.references.store(kConstantObject, std::memory_order_relaxed);
  ThreadShare::of_this_thread().count(object.type->type_id, -1);  // counts tell what somebody has still to release
}

// A new T, derived from Object, with `extra_bytes` behind it, owning one reference to its allocator and owned once by
// the caller. Null when the allocator has no memory.
template <typename T, typename... Arguments>
T* create_object(CFAllocatorRef allocator, std::size_t extra_bytes, Arguments&&... arguments) {
  const CFAllocatorRef owner = allocator != nullptr ? allocator : &heap_allocator;
  void* memory = allocate(owner, sizeof(T) + extra_bytes);
  if (memory == nullptr) {
    return nullptr;
  }
  if (owner != &heap_allocator) {
    CFRetain(owner);
  }
  T* object = std::construct_at(static_cast<T*>(memory), owner, std::forward<Arguments>(arguments)...);
  ThreadShare::of_this_thread().count(object->type->type_id, 1);
  return object;
}

// How a collection keeps its members when they are objects: the callbacks of the kCFType… structures.
const void* retain_member(CFAllocatorRef allocator, const void* value);
void release_member(CFAllocatorRef allocator, const void* value);

// Lets the standard containers inside an object take their memory where the object has its own.
template <typename T>
struct StandardAllocator {
  using value_type = T;

  explicit StandardAllocator(CFAllocatorRef allocator)
      : source(allocator != kCFAllocatorDefault ? allocator : &heap_allocator) {}
  template <typename Other>
  StandardAllocator(const StandardAllocator<Other>& other) : source(other.source) {}

  T* allocate(std::size_t count) {
    void* memory = count <= PTRDIFF_MAX / sizeof(T) ? hub::platform::allocate(source, count * sizeof(T)) : nullptr;
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t) { hub::platform::deallocate(source, memory); }

  template <typename Other>
  bool operator==(const StandardAllocator<Other>& other) const {
    return source == other.source;
  }

  CFAllocatorRef source;
};

}  // namespace hub::platform
