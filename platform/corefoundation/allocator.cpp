// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

struct __CFAllocator : hub::platform::Object {
  constexpr __CFAllocator(const hub::platform::ObjectClass& object_class, CFAllocatorRef owner, std::uint32_t count,
                          const CFAllocatorContext& its_context)
      : Object(object_class, owner, count), context(its_context) {}
  __CFAllocator(CFAllocatorRef owner, const CFAllocatorContext& its_context);

  CFAllocatorContext context;
};

namespace hub::platform {
namespace {

void destroy_allocator(Object& object) noexcept {
  auto& allocator = static_cast<__CFAllocator&>(object);
  if (allocator.context.release != nullptr) {
    allocator.context.release(allocator.context.info);
  }
  std::destroy_at(&allocator);
}

bool allocators_equal(const Object& first, const Object& second) { return &first == &second; }

CFHashCode hash_of_allocator(const Object& object) { return reinterpret_cast<CFHashCode>(&object); }

constexpr ObjectClass kAllocatorClass{kAllocatorTypeId, destroy_allocator, allocators_equal, hash_of_allocator};

void* allocate_from_heap(CFIndex length_bytes, CFOptionFlags, void*) {
  return std::malloc(static_cast<std::size_t>(length_bytes));
}

void* reallocate_in_heap(void* block, CFIndex length_bytes, CFOptionFlags, void*) {
  return std::realloc(block, static_cast<std::size_t>(length_bytes));
}

void free_to_heap(void* block, void*) { std::free(block); }

constexpr CFAllocatorContext kHeapContext{
    0, nullptr, nullptr, nullptr, nullptr, allocate_from_heap, reallocate_in_heap, free_to_heap, nullptr};
constexpr CFAllocatorContext kNullContext{};

constinit const __CFAllocator null_allocator{kAllocatorClass, nullptr, kConstantObject, kNullContext};

const CFAllocatorContext& context_of(CFAllocatorRef allocator, const char* function) {
  if (allocator == kCFAllocatorDefault) {
    return kHeapContext;
  }
  return static_cast<const __CFAllocator&>(object_of(allocator, kAllocatorClass, function)).context;
}

}  // namespace

constinit const __CFAllocator heap_allocator{kAllocatorClass, nullptr, kConstantObject, kHeapContext};

}  // namespace hub::platform

using namespace hub::platform;

__CFAllocator::__CFAllocator(CFAllocatorRef owner, const CFAllocatorContext& its_context)
    : Object(kAllocatorClass, owner, 1), context(its_context) {
  if (context.retain != nullptr) {
    context.info = const_cast<void*>(context.retain(context.info));
  }
}

constinit const CFAllocatorRef kCFAllocatorSystemDefault = &heap_allocator;
constinit const CFAllocatorRef kCFAllocatorNull = &null_allocator;

CFTypeID CFAllocatorGetTypeID(void) { return kAllocatorTypeId; }

CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, const CFAllocatorContext* context) {
  if (fails(Fallible::kCFAllocatorCreate)) {
    return nullptr;
  }
  return create_object<__CFAllocator>(allocator, 0, *context);
}

void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex length_bytes, CFOptionFlags hint) {
  if (fails(Fallible::kCFAllocatorAllocate)) {
    return nullptr;
  }
  const CFAllocatorContext& context = context_of(allocator, "CFAllocatorAllocate");
  if (length_bytes <= 0 || context.allocate == nullptr) {
    return nullptr;
  }
  return context.allocate(length_bytes, hint, context.info);
}

void* CFAllocatorReallocate(CFAllocatorRef allocator, void* block, CFIndex length_bytes, CFOptionFlags hint) {
  if (fails(Fallible::kCFAllocatorReallocate)) {
    return nullptr;
  }
  if (block == nullptr) {
    return CFAllocatorAllocate(allocator, length_bytes, hint);
  }
  if (length_bytes <= 0) {
    CFAllocatorDeallocate(allocator, block);
    return nullptr;
  }
  const CFAllocatorContext& context = context_of(allocator, "CFAllocatorReallocate");
  return context.reallocate != nullptr ? context.reallocate(block, length_bytes, hint, context.info) : nullptr;
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void* block) {
  const CFAllocatorContext& context = context_of(allocator, "CFAllocatorDeallocate");
  if (block != nullptr && context.deallocate != nullptr) {
    context.deallocate(block, context.info);
  }
}

void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context) {
  *context = context_of(allocator, "CFAllocatorGetContext");
}
