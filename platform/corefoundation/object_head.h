// SPDX-License-Identifier: Apache-2.0
// What stands at the front of every CoreFoundation object, and what is left of one that was freed.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "CoreFoundation/CFBase.h"

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
inline constexpr std::size_t kTypeIdLimit = 11;  // above the last type

// A count of kConstantObject stays as it is: the object is never freed.
inline constexpr std::uint32_t kConstantObject = UINT32_MAX;

struct Object {
  constexpr Object(const ObjectClass& object_class, CFAllocatorRef owner, std::uint32_t count)
      : type(&object_class), allocator(owner), references(count) {}

  const ObjectClass* type;
  CFAllocatorRef allocator;  // a reference is held; null for the constant allocators, which belong to themselves
  mutable std::atomic<std::uint32_t> references;
  std::uint16_t memory_steps = 0;  // the length of its memory as a ThreadShare counts it; 0 when that is not known
};

// What stands in an object's memory when the object is gone and the memory has not been given back yet.
extern const ObjectClass kFreedClass;

struct FreedObject : Object {
  FreedObject() : Object(kFreedClass, nullptr, 0) {}

  FreedObject* next = nullptr;  // the one that was freed after it, in the same queue
};

}  // namespace hub::platform
