// SPDX-License-Identifier: Apache-2.0
// What all CoreFoundation objects share: a class, an allocator and a reference count.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "CoreFoundation/CFAllocator.h"
#include "CoreFoundation/CFBase.h"

namespace hub::platform {

struct Object;

// One kind of object. There is one constant of it per type.
struct ObjectClass {
  CFTypeID type_id;
  void (*destroy)(Object& object) noexcept;                  // runs the destructor; the memory is freed afterwards
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
inline constexpr std::size_t kTypeIdLimit = 11;  // above the last type

// A count of kConstantObject stays as it is: the object is never freed.
inline constexpr std::uint32_t kConstantObject = UINT32_MAX;

struct Object {
  constexpr Object(const ObjectClass& object_class, CFAllocatorRef owner, std::uint32_t count)
      : type(&object_class), allocator(owner), references(count) {}

  const ObjectClass* type;
  CFAllocatorRef allocator;  // a reference is held; null for the constant allocators, which belong to themselves
  mutable std::atomic<std::uint32_t> references;
};

// The object behind a reference; `function` names the caller in the message when it is null or freed.
const Object& object_of(CFTypeRef reference, const char* function);

// The object behind a reference that must be of this class.
const Object& object_of(CFTypeRef reference, const ObjectClass& expected, const char* function);

// Keeps the count behind live_objects(): `change` objects of this type came into being, or went when it is negative.
void count_objects(CFTypeID type_id, int change);

// A new T, derived from Object, with `extra_bytes` behind it, owning one reference to its allocator and owned once by
// the caller. Null when the allocator has no memory.
template <typename T, typename... Arguments>
T* create_object(CFAllocatorRef allocator, std::size_t extra_bytes, Arguments&&... arguments) {
  const CFAllocatorRef owner = allocator != nullptr ? allocator : kCFAllocatorSystemDefault;
  void* memory = CFAllocatorAllocate(owner, static_cast<CFIndex>(sizeof(T) + extra_bytes), 0);
  if (memory == nullptr) {
    return nullptr;
  }
  CFRetain(owner);
  T* object = std::construct_at(static_cast<T*>(memory), owner, std::forward<Arguments>(arguments)...);
  count_objects(object->type->type_id, 1);
  return object;
}

// How a collection keeps its members when they are objects: the callbacks of the kCFType… structures.
const void* retain_member(CFAllocatorRef allocator, const void* value);
void release_member(CFAllocatorRef allocator, const void* value);

// Lets the standard containers inside an object take their memory where the object has its own.
template <typename T>
struct StandardAllocator {
  using value_type = T;

  explicit StandardAllocator(CFAllocatorRef allocator) : source(allocator) {}
  template <typename Other>
  StandardAllocator(const StandardAllocator<Other>& other) : source(other.source) {}

  T* allocate(std::size_t count) {
    void* memory = count <= PTRDIFF_MAX / sizeof(T)
                       ? CFAllocatorAllocate(source, static_cast<CFIndex>(count * sizeof(T)), 0)
                       : nullptr;
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t) { CFAllocatorDeallocate(source, memory); }

  template <typename Other>
  bool operator==(const StandardAllocator<Other>& other) const {
    return source == other.source;
  }

  CFAllocatorRef source;
};

}  // namespace hub::platform
