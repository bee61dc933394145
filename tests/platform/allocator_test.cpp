// SPDX-License-Identifier: Apache-2.0
// Where memory comes from and goes back to.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// The info of an allocator on the heap: what its callbacks were called with.
struct Calls {
  int retained = 0;
  int released = 0;
  int allocated = 0;
  int resized = 0;
  int freed = 0;
  CFIndex length_bytes = 0;
  CFOptionFlags hint = 0;
};

Calls& calls_of(const void* info) { return *static_cast<Calls*>(const_cast<void*>(info)); }

const void* retain_info(const void* info) {
  ++calls_of(info).retained;
  return info;
}

void release_info(const void* info) { ++calls_of(info).released; }

void* allocate(CFIndex length_bytes, CFOptionFlags hint, void* info) {
  ++calls_of(info).allocated;
  calls_of(info).length_bytes = length_bytes;
  calls_of(info).hint = hint;
  return std::malloc(static_cast<std::size_t>(length_bytes));
}

void* resize(void* block, CFIndex length_bytes, CFOptionFlags hint, void* info) {
  ++calls_of(info).resized;
  calls_of(info).length_bytes = length_bytes;
  calls_of(info).hint = hint;
  return std::realloc(block, static_cast<std::size_t>(length_bytes));
}

void deallocate(void* block, void* info) {
  ++calls_of(info).freed;
  std::free(block);
}

class Allocator : public PlatformTest {
 protected:
  [[nodiscard]] static Owned<CFAllocatorRef> create(const CFAllocatorContext& its_context) {
    return Owned(CFAllocatorCreate(kCFAllocatorDefault, &its_context));
  }

  Calls calls;
  CFAllocatorContext context{0, &calls, retain_info, release_info, nullptr, allocate, resize, deallocate, nullptr};
};

TEST_F(Allocator, info_is_retained_once_at_creation_and_released_once_at_the_end) {
  auto allocator = create(context);
  CFRetain(allocator);
  CFRelease(allocator);
  EXPECT_EQ(calls.retained, 1);
  EXPECT_EQ(calls.released, 0);
  allocator.give_back();
  EXPECT_EQ(calls.retained, 1);
  EXPECT_EQ(calls.released, 1);
}

TEST_F(Allocator, what_the_retain_callback_returns_becomes_the_info) {
  static Calls kept;
  kept = Calls();
  context.retain = [](const void*) -> const void* { return &kept; };
  auto allocator = create(context);
  CFAllocatorDeallocate(allocator, CFAllocatorAllocate(allocator, 8, 0));
  EXPECT_EQ(kept.allocated, 1);
  EXPECT_EQ(kept.freed, 1);
  allocator.give_back();
  EXPECT_EQ(kept.released, 1);
  EXPECT_EQ(calls.released, 0);
}

TEST_F(Allocator, without_retain_and_release_the_info_is_taken_as_it_is) {
  context.retain = nullptr;
  context.release = nullptr;
  const auto allocator = create(context);
  CFAllocatorDeallocate(allocator, CFAllocatorAllocate(allocator, 8, 0));
  EXPECT_EQ(calls.allocated, 1);
}

TEST_F(Allocator, later_changes_of_the_context_do_not_reach_it) {
  const auto allocator = create(context);
  context.allocate = nullptr;
  void* block = CFAllocatorAllocate(allocator, 8, 0);
  EXPECT_NE(block, nullptr);
  CFAllocatorDeallocate(allocator, block);
}

TEST_F(Allocator, context_can_be_read_back) {
  const auto allocator = create(context);
  CFAllocatorContext read;
  CFAllocatorGetContext(allocator, &read);
  EXPECT_EQ(read.version, 0);
  EXPECT_EQ(read.info, &calls);
  EXPECT_EQ(read.retain, retain_info);
  EXPECT_EQ(read.release, release_info);
  EXPECT_EQ(read.allocate, allocate);
  EXPECT_EQ(read.reallocate, resize);
  EXPECT_EQ(read.deallocate, deallocate);
}

TEST_F(Allocator, its_own_memory_comes_from_the_allocator_it_is_created_with) {
  LimitedAllocator outer;
  Owned inner(CFAllocatorCreate(outer, &context));
  EXPECT_EQ(outer.blocks(), 1);
  EXPECT_EQ(CFGetAllocator(inner), outer);
  inner.give_back();
  EXPECT_EQ(outer.blocks(), 0);
}

TEST_F(Allocator, without_memory_for_itself_there_is_none_and_nothing_is_retained) {
  EXPECT_EQ(CFAllocatorCreate(kCFAllocatorNull, &context), nullptr);
  EXPECT_EQ(calls.retained, 0);
}

TEST_F(Allocator, length_and_hint_reach_the_callbacks) {
  const auto allocator = create(context);
  void* block = CFAllocatorAllocate(allocator, 24, 7);
  EXPECT_EQ(calls.length_bytes, 24);
  EXPECT_EQ(calls.hint, 7U);
  block = CFAllocatorReallocate(allocator, block, 48, 9);
  EXPECT_EQ(calls.length_bytes, 48);
  EXPECT_EQ(calls.hint, 9U);
  CFAllocatorDeallocate(allocator, block);
  EXPECT_EQ(calls.freed, 1);
}

TEST_F(Allocator, no_block_for_a_length_of_zero_or_less) {
  const auto allocator = create(context);
  EXPECT_EQ(CFAllocatorAllocate(allocator, 0, 0), nullptr);
  EXPECT_EQ(CFAllocatorAllocate(allocator, -1, 0), nullptr);
  EXPECT_EQ(CFAllocatorReallocate(allocator, nullptr, 0, 0), nullptr);
  EXPECT_EQ(calls.allocated, 0);
}

TEST_F(Allocator, resizing_no_block_allocates_one) {
  const auto allocator = create(context);
  void* block = CFAllocatorReallocate(allocator, nullptr, 16, 0);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(calls.allocated, 1);
  EXPECT_EQ(calls.resized, 0);
  CFAllocatorDeallocate(allocator, block);
}

TEST_F(Allocator, resizing_to_nothing_frees_the_block) {
  const auto allocator = create(context);
  EXPECT_EQ(CFAllocatorReallocate(allocator, CFAllocatorAllocate(allocator, 16, 0), 0, 0), nullptr);
  EXPECT_EQ(calls.freed, 1);
  EXPECT_EQ(calls.resized, 0);
}

TEST_F(Allocator, resized_block_keeps_its_bytes) {
  void* block = CFAllocatorAllocate(kCFAllocatorSystemDefault, 4, 0);
  std::memcpy(block, "abc", 4);
  block = CFAllocatorReallocate(kCFAllocatorSystemDefault, block, 4000, 0);
  EXPECT_STREQ(static_cast<const char*>(block), "abc");
  CFAllocatorDeallocate(kCFAllocatorSystemDefault, block);
}

TEST_F(Allocator, without_a_resize_callback_the_block_stays_as_it_was) {
  context.reallocate = nullptr;
  const auto allocator = create(context);
  void* block = CFAllocatorAllocate(allocator, 4, 0);
  std::memcpy(block, "abc", 4);
  EXPECT_EQ(CFAllocatorReallocate(allocator, block, 64, 0), nullptr);
  EXPECT_STREQ(static_cast<const char*>(block), "abc");
  CFAllocatorDeallocate(allocator, block);
}

TEST_F(Allocator, freeing_no_block_does_nothing) {
  const auto allocator = create(context);
  CFAllocatorDeallocate(allocator, nullptr);
  EXPECT_EQ(calls.freed, 0);
}

TEST_F(Allocator, without_an_allocate_callback_there_is_never_a_block) {
  context.allocate = nullptr;
  const auto allocator = create(context);
  EXPECT_EQ(CFAllocatorAllocate(allocator, 8, 0), nullptr);
}

TEST_F(Allocator, without_a_free_callback_freeing_does_nothing) {
  context.deallocate = nullptr;
  const auto allocator = create(context);
  void* block = CFAllocatorAllocate(allocator, 4, 0);
  std::memcpy(block, "abc", 4);
  CFAllocatorDeallocate(allocator, block);
  EXPECT_STREQ(static_cast<const char*>(block), "abc");
  std::free(block);
}

TEST_F(Allocator, objects_hold_a_reference_to_it_until_they_are_freed) {
  auto allocator = create(context);
  auto held = number(1, allocator);
  EXPECT_EQ(CFGetRetainCount(allocator), 2);
  allocator.give_back();
  EXPECT_EQ(calls.released, 0);
  held.give_back();
  EXPECT_EQ(calls.freed, 1);
  EXPECT_EQ(calls.released, 1);
}

TEST_F(Allocator, null_means_the_systems_one) {
  CFAllocatorContext of_null;
  CFAllocatorContext of_system;
  CFAllocatorGetContext(kCFAllocatorDefault, &of_null);
  CFAllocatorGetContext(kCFAllocatorSystemDefault, &of_system);
  EXPECT_EQ(of_null.allocate, of_system.allocate);
  void* block = CFAllocatorAllocate(kCFAllocatorDefault, 8, 0);
  EXPECT_NE(block, nullptr);
  CFAllocatorDeallocate(kCFAllocatorSystemDefault, block);
}

TEST_F(Allocator, blocks_of_the_system_are_aligned_for_any_scalar) {
  for (CFIndex length_bytes = 1; length_bytes <= 64; ++length_bytes) {
    void* block = CFAllocatorAllocate(kCFAllocatorSystemDefault, length_bytes, 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U) << length_bytes;
    CFAllocatorDeallocate(kCFAllocatorSystemDefault, block);
  }
}

TEST_F(Allocator, the_null_allocator_gives_nothing_and_frees_nothing) {
  char block[] = "abc";
  EXPECT_EQ(CFAllocatorAllocate(kCFAllocatorNull, 8, 0), nullptr);
  EXPECT_EQ(CFAllocatorReallocate(kCFAllocatorNull, block, 8, 0), nullptr);
  CFAllocatorDeallocate(kCFAllocatorNull, block);
  EXPECT_STREQ(block, "abc");
}

TEST_F(Allocator, constant_ones_are_never_freed_and_belong_to_themselves) {
  for (const CFAllocatorRef constant : {kCFAllocatorSystemDefault, kCFAllocatorNull}) {
    const CFIndex references = CFGetRetainCount(constant);
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ(CFRetain(constant), constant);
    EXPECT_EQ(CFGetRetainCount(constant), references);
    EXPECT_EQ(CFGetAllocator(constant), constant);
    EXPECT_EQ(CFGetTypeID(constant), CFAllocatorGetTypeID());
  }
}

TEST_F(Allocator, equals_only_itself_whatever_the_context) {
  const auto first = create(context);
  const auto second = create(context);
  EXPECT_TRUE(CFEqual(first, first));
  EXPECT_FALSE(CFEqual(first, second));
  EXPECT_FALSE(CFEqual(kCFAllocatorSystemDefault, kCFAllocatorNull));
  EXPECT_EQ(CFHash(first), CFHash(first));
}

TEST_F(Allocator, object_of_another_type_in_its_place_ends_the_process) {
  const auto text = CFSTR("text");
  EXPECT_DEATH(CFAllocatorAllocate(reinterpret_cast<CFAllocatorRef>(text), 8, 0),
               "platform: CFAllocatorAllocate: an object of another type");
}

}  // namespace
}  // namespace hub::test
