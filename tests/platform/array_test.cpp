// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFArray.h"

#include <map>
#include <new>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

class Array : public PlatformTest {
 protected:
  static Owned<CFMutableArrayRef> create(CFAllocatorRef allocator = kCFAllocatorDefault) {
    return Owned(CFArrayCreateMutable(allocator, 0, &kCFTypeArrayCallBacks));
  }

  static std::vector<CFTypeRef> values_of(CFArrayRef array) {
    std::vector<CFTypeRef> values;
    for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
      values.push_back(CFArrayGetValueAtIndex(array, index));
    }
    return values;
  }
};

using Values = std::vector<CFTypeRef>;

TEST_F(Array, new_one_is_empty) { EXPECT_EQ(CFArrayGetCount(create()), 0); }

TEST_F(Array, keeps_values_in_the_order_in_which_they_were_added) {
  const auto array = create();
  for (const CFStringRef value : {CFSTR("c"), CFSTR("a"), CFSTR("b"), CFSTR("a")}) {
    CFArrayAppendValue(array, value);
  }
  EXPECT_EQ(values_of(array), (Values{CFSTR("c"), CFSTR("a"), CFSTR("b"), CFSTR("a")}));
}

TEST_F(Array, holds_a_reference_to_each_value_until_it_goes) {
  const auto value = number(1);
  {
    const auto array = create();
    CFArrayAppendValue(array, value);
    CFArrayAppendValue(array, value);
    EXPECT_EQ(CFGetRetainCount(value), 3);
  }
  EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST_F(Array, gives_all_values_back_when_they_are_removed) {
  const auto value = number(1);
  const auto array = create();
  CFArrayAppendValue(array, value);
  CFArrayRemoveAllValues(array);
  EXPECT_EQ(CFArrayGetCount(array), 0);
  EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST_F(Array, without_callbacks_stores_pointers_as_they_are) {
  const Owned array(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr));
  int first = 1;
  CFArrayAppendValue(array, &first);
  CFArrayAppendValue(array, nullptr);
  EXPECT_EQ(values_of(array), (Values{&first, nullptr}));
}

TEST_F(Array, without_callbacks_equals_only_the_same_pointers) {
  const auto of = [](const int* value) {
    Owned array(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr));
    CFArrayAppendValue(array, value);
    return array;
  };
  const int first = 1;
  const int other = 1;
  EXPECT_TRUE(CFEqual(of(&first), of(&first)));
  EXPECT_FALSE(CFEqual(of(&first), of(&other)));
}

TEST_F(Array, created_from_values_holds_them) {
  const auto value = number(5);
  const void* values[] = {value, CFSTR("text")};
  const Owned array(CFArrayCreate(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks));
  EXPECT_EQ(values_of(array), (Values{value, CFSTR("text")}));
  EXPECT_EQ(CFGetRetainCount(value), 2);
}

TEST_F(Array, equals_another_of_equal_values_in_the_same_order) {
  const auto of = [](std::int64_t first, std::int64_t second) {
    auto array = create();
    CFArrayAppendValue(array, number(first));
    CFArrayAppendValue(array, number(second));
    return array;
  };
  EXPECT_TRUE(CFEqual(of(1, 2), of(1, 2)));
  EXPECT_EQ(CFHash(of(1, 2)), CFHash(of(1, 2)));
  EXPECT_FALSE(CFEqual(of(1, 2), of(2, 1)));
  EXPECT_FALSE(CFEqual(of(1, 2), create()));
}

TEST_F(Array, of_pointers_never_equals_one_of_objects) {
  const Owned pointers(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr));
  const auto objects = create();
  CFArrayAppendValue(pointers, CFSTR("a"));
  CFArrayAppendValue(objects, CFSTR("a"));
  EXPECT_FALSE(CFEqual(pointers, objects));
  EXPECT_FALSE(CFEqual(objects, pointers));
}

TEST_F(Array, own_callbacks_are_told_its_allocator) {
  static std::map<const void*, int> kept;
  static CFAllocatorRef told = nullptr;
  CFArrayCallBacks callbacks{};
  callbacks.retain = [](CFAllocatorRef allocator, const void* value) {
    told = allocator;
    ++kept[value];
    return value;
  };
  callbacks.release = [](CFAllocatorRef, const void* value) { --kept[value]; };
  LimitedAllocator memory;
  int value = 0;
  {
    const Owned array(CFArrayCreateMutable(memory, 0, &callbacks));
    CFArrayAppendValue(array, &value);
    EXPECT_EQ(kept[&value], 1);
  }
  EXPECT_EQ(kept[&value], 0);
  EXPECT_EQ(told, static_cast<CFAllocatorRef>(memory));
}

TEST_F(Array, without_memory_is_not_created) {
  const void* values[] = {CFSTR("a")};
  for (int blocks = 0; blocks < 2; ++blocks) {
    LimitedAllocator memory;
    memory.allow(blocks);
    EXPECT_EQ(CFArrayCreate(memory, values, 1, &kCFTypeArrayCallBacks), nullptr) << blocks;
  }
}

TEST_F(Array, without_memory_for_one_more_stays_as_it_was) {
  LimitedAllocator memory;
  const auto array = create(memory);
  const auto value = number(1);
  while (CFArrayGetCount(array) < 4) {
    CFArrayAppendValue(array, value);
  }
  memory.allow(0);
  CFArrayAppendValue(array, value);
  EXPECT_EQ(CFArrayGetCount(array), 4);
  EXPECT_EQ(CFGetRetainCount(value), 5);
}

TEST_F(Array, index_outside_ends_the_process) {
  const auto array = create();
  CFArrayAppendValue(array, CFSTR("a"));
  EXPECT_DEATH(CFArrayGetValueAtIndex(array, 1), "CFArrayGetValueAtIndex: an index outside the array");
  EXPECT_DEATH(CFArrayGetValueAtIndex(array, -1), "CFArrayGetValueAtIndex: an index outside the array");
}

TEST_F(Array, change_of_an_immutable_one_ends_the_process) {
  const Owned array(CFArrayCreate(kCFAllocatorDefault, nullptr, 0, nullptr));
  const auto changeable = const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(array));
  EXPECT_DEATH(CFArrayAppendValue(changeable, nullptr), "CFArrayAppendValue: an immutable array");
  EXPECT_DEATH(CFArrayRemoveAllValues(changeable), "CFArrayRemoveAllValues: an immutable array");
}

}  // namespace
}  // namespace hub::test
