// SPDX-License-Identifier: Apache-2.0
// What all CoreFoundation objects share: a class, an allocator and a reference count. What each creation, retain,
// release and look-up goes through stands here, so that it is compiled into the functions that do it.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "CoreFoundation/CFAllocator.h"
#include "CoreFoundation/CFBase.h"
#include "corefoundation/constant_memory.h"
#include "corefoundation/object_head.h"
#include "corefoundation/thread_share.h"
#include "failures/failures.h"

namespace hub::platform {

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

// Adds to a count and returns what it was. A locked operation costs as much as creating a small object: a process that
// has one thread does without.
inline std::uint32_t add_references(const Object& object, std::uint32_t change, std::memory_order order) {
  if (__libc_single_threaded != 0) {
    const std::uint32_t before = object.references.load(std::memory_order_relaxed);
    object.references.store(before + change, std::memory_order_relaxed);
    return before;
  }
  return object.references.fetch_add(change, order);
}

// One reference more.
inline void retain(const Object& object) {
  if (object.references.load(std::memory_order_relaxed) != kConstantObject) {
    add_references(object, 1, std::memory_order_relaxed);
  }
}

// Ends an object that nobody owns any more.
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

// Whether CFAllocatorAllocate would do nothing but ask the heap.
inline bool is_plain_heap(CFAllocatorRef allocator) {
  return allocator == &heap_allocator && !failures_are_planned.load(std::memory_order_relaxed);
}

// CFAllocatorAllocate and CFAllocatorDeallocate, past everything that makes no difference to the heap.
inline void* allocate(CFAllocatorRef allocator, std::size_t length_bytes) {
  return is_plain_heap(allocator) ? std::malloc(length_bytes)
                                  : CFAllocatorAllocate(allocator, static_cast<CFIndex>(length_bytes), 0);
}

inline void deallocate(CFAllocatorRef allocator, void* memory) {
  if (allocator == &heap_allocator) {
    std::free(memory);
  } else {
    CFAllocatorDeallocate(allocator, memory);
  }
}

// A new T, derived from Object, with `extra_bytes` behind it, owning one reference to its allocator and owned once by
// the caller. Null when the allocator has no memory. Part of each function that creates: the calls in between would
// cost as much as the rest.
template <typename T, typename... Arguments>
[[gnu::always_inline]] inline T* create_object(CFAllocatorRef allocator, std::size_t extra_bytes,
                                               Arguments&&... arguments) {
  const CFAllocatorRef owner = allocator != nullptr ? allocator : &heap_allocator;
  const std::size_t length_bytes = sizeof(T) + extra_bytes;
  const std::uint16_t steps = is_plain_heap(owner) ? ThreadShare::steps_of(length_bytes) : 0;
  ThreadShare* share = ThreadShare::of_this_thread();
  if (share == nullptr) {
    return nullptr;
  }
  void* memory = steps != 0 ? share->object_memory(steps) : allocate(owner, length_bytes);
  if (memory == nullptr) {
    return nullptr;
  }
  if (owner != &heap_allocator) {
    CFRetain(owner);
  }
  T* object = std::construct_at(static_cast<T*>(memory), owner, std::forward<Arguments>(arguments)...);
  object->memory_steps = steps;
  share->count(object->type->type_id, 1);
  return object;
}

// A new T that is there for ever and in no count; throws std::bad_alloc. On the device constants are part of the
// program: making one here is no call of the allocator that could be told to fail.
template <typename T, typename... Arguments>
T* create_constant(std::size_t extra_bytes, Arguments&&... arguments) {
  void* memory = constant_memory(sizeof(T) + extra_bytes);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  T* object = std::construct_at(static_cast<T*>(memory), &heap_allocator, std::forward<Arguments>(arguments)...);
  object->references.store(kConstantObject, std::memory_order_relaxed);
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
