// SPDX-License-Identifier: Apache-2.0
// What a dictionary keeps and lets go through its callbacks, and what becomes of it without memory.
#include <map>
#include <new>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// Callbacks of the test's own: pointers to integers, compared by value, that count how often each is kept.
std::map<const void*, int> kept;
std::vector<CFAllocatorRef> told_allocators;

const void* keep(CFAllocatorRef allocator, const void* value) {
  told_allocators.push_back(allocator);
  ++kept[value];
  return value;
}

void let_go(CFAllocatorRef allocator, const void* value) {
  told_allocators.push_back(allocator);
  --kept[value];
}

Boolean same_integer(const void* first, const void* second) {
  return *static_cast<const int*>(first) == *static_cast<const int*>(second);
}

CFHashCode hash_of_integer(const void* value) { return static_cast<CFHashCode>(*static_cast<const int*>(value)); }

constexpr CFDictionaryKeyCallBacks kIntegerKeys{0, keep, let_go, nullptr, same_integer, hash_of_integer};
constexpr CFDictionaryValueCallBacks kIntegerValues{0, keep, let_go, nullptr, same_integer};

constexpr int kEnoughBlocks = 100;  // for creating a small dictionary and for putting one pair into any

class DictionaryOwnership : public PlatformTest {
 protected:
  DictionaryOwnership() {
    kept.clear();
    told_allocators.clear();
  }

  static Owned<CFMutableDictionaryRef> of_integers(CFAllocatorRef allocator = kCFAllocatorDefault) {
    return Owned(CFDictionaryCreateMutable(allocator, 0, &kIntegerKeys, &kIntegerValues));
  }

  static Owned<CFMutableDictionaryRef> of_pointers() {
    return Owned(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, nullptr, nullptr));
  }

  // Puts many keys in, each at first with no allocation allowed, then with one more at each attempt until it is in.
  void expect_nothing_changes_without_memory(void (*put)(CFMutableDictionaryRef, const void*, const void*)) {
    LimitedAllocator allocator;
    const auto integers = of_integers(allocator);
    std::vector<int> keys(200);
    int times_without_room = 0;
    for (std::size_t index = 0; index < keys.size(); ++index) {
      int& key = keys[index];
      key = static_cast<int>(index);
      int failures = 0;
      allocator.allow(failures);
      for (put(integers, &key, &one); failures < kEnoughBlocks && !CFDictionaryContainsKey(integers, &key);
           put(integers, &key, &one)) {
        EXPECT_EQ(CFDictionaryGetCount(integers), key);
        EXPECT_EQ(kept[&key], 0) << key;
        EXPECT_EQ(kept[&one], key);
        allocator.allow(++failures);
      }
      times_without_room += failures > 0 ? 1 : 0;
      EXPECT_EQ(CFDictionaryGetValue(integers, &key), &one) << key;
    }
    EXPECT_GE(times_without_room, 2) << "at first, and on the way to 200";
  }

  int one = 1;
  int another_one = 1;
  int two = 2;
  int three = 3;
};

TEST_F(DictionaryOwnership, keeps_and_lets_go_through_its_callbacks) {
  auto integers = of_integers();
  CFDictionarySetValue(integers, &one, &two);
  CFDictionaryAddValue(integers, &another_one, &three);
  EXPECT_EQ(kept, (std::map<const void*, int>{{&one, 1}, {&two, 1}})) << "the key was there";
  CFDictionarySetValue(integers, &another_one, &three);
  EXPECT_EQ(kept, (std::map<const void*, int>{{&one, 1}, {&two, 0}, {&three, 1}})) << "the first key stays";
  CFDictionaryRemoveValue(integers, &another_one);
  EXPECT_EQ(kept, (std::map<const void*, int>{{&one, 0}, {&two, 0}, {&three, 0}}));
}

TEST_F(DictionaryOwnership, lets_everything_go_when_it_is_emptied_or_freed) {
  auto integers = of_integers();
  CFDictionarySetValue(integers, &one, &two);
  CFDictionaryRemoveAllValues(integers);
  EXPECT_EQ(kept, (std::map<const void*, int>{{&one, 0}, {&two, 0}}));
  CFDictionarySetValue(integers, &one, &two);
  integers.give_back();
  EXPECT_EQ(kept, (std::map<const void*, int>{{&one, 0}, {&two, 0}}));
}

TEST_F(DictionaryOwnership, tells_its_callbacks_its_allocator) {
  LimitedAllocator allocator;
  auto integers = of_integers(allocator);
  CFDictionarySetValue(integers, &one, &two);
  EXPECT_EQ(told_allocators, std::vector<CFAllocatorRef>(2, allocator)) << "the key and the value are kept";
  integers.give_back();
  EXPECT_EQ(told_allocators, std::vector<CFAllocatorRef>(4, allocator)) << "and let go";
}

TEST_F(DictionaryOwnership, stores_what_its_callbacks_return) {
  static const int own_copies[] = {0, 1, 2};
  CFDictionaryKeyCallBacks keys = kIntegerKeys;
  CFDictionaryValueCallBacks values = kIntegerValues;
  keys.retain = [](CFAllocatorRef, const void* value) -> const void* { return own_copies + hash_of_integer(value); };
  keys.release = nullptr;
  values.retain = keys.retain;
  values.release = nullptr;
  const Owned integers(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &keys, &values));
  CFDictionarySetValue(integers, &one, &two);
  one = 7;
  const void* key = nullptr;
  CFDictionaryGetKeysAndValues(integers, &key, nullptr);
  EXPECT_EQ(key, &own_copies[1]);
  EXPECT_EQ(CFDictionaryGetValue(integers, &another_one), &own_copies[2]);
}

TEST_F(DictionaryOwnership, compares_values_by_its_callback) {
  const auto first = of_integers();
  const auto second = of_integers();
  CFDictionarySetValue(first, &two, &one);
  CFDictionarySetValue(second, &two, &another_one);
  EXPECT_TRUE(CFEqual(first, second));
}

TEST_F(DictionaryOwnership, without_callbacks_compares_pointers_alone) {
  const auto pointers = of_pointers();
  CFDictionarySetValue(pointers, &one, &two);
  EXPECT_EQ(CFDictionaryGetValue(pointers, &one), &two);
  EXPECT_FALSE(CFDictionaryContainsKey(pointers, &another_one));
  const auto others = of_pointers();
  CFDictionarySetValue(others, &one, &another_one);
  EXPECT_FALSE(CFEqual(pointers, others));
}

TEST_F(DictionaryOwnership, differs_from_one_that_compares_otherwise) {
  const auto pointers = of_pointers();
  const auto integers = of_integers();
  const auto objects = dictionary();
  CFDictionarySetValue(pointers, &one, &one);
  CFDictionarySetValue(integers, &one, &one);
  CFDictionarySetValue(objects, CFSTR("one"), CFSTR("one"));
  EXPECT_FALSE(CFEqual(pointers, integers));
  EXPECT_FALSE(CFEqual(integers, pointers));
  EXPECT_FALSE(CFEqual(pointers, objects));
}

TEST_F(DictionaryOwnership, without_callbacks_takes_null_as_key_and_value) {
  const auto pointers = of_pointers();
  CFDictionarySetValue(pointers, nullptr, &one);
  CFDictionarySetValue(pointers, &two, nullptr);
  const void* value = &three;
  EXPECT_EQ(CFDictionaryGetValue(pointers, nullptr), &one);
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(pointers, &two, &value));
  EXPECT_EQ(value, nullptr);
}

TEST_F(DictionaryOwnership, without_memory_is_not_created_and_keeps_nothing) {
  LimitedAllocator allocator;
  const void* keys[] = {&one, &two, &three};
  int allowed = 0;
  const auto create = [&] {
    allocator.allow(allowed);
    return Owned(CFDictionaryCreate(allocator, keys, keys, 3, &kIntegerKeys, &kIntegerValues));
  };
  while (allowed < kEnoughBlocks && create() == nullptr) {
    EXPECT_EQ(allocator.blocks(), 0) << allowed;
    EXPECT_EQ(kept[&one] + kept[&two] + kept[&three], 0) << allowed;
    ++allowed;
  }
  EXPECT_TRUE(create());
  EXPECT_GE(allowed, 2) << "itself and room for the pairs";
}

TEST_F(DictionaryOwnership, mutable_one_is_not_created_without_memory) { EXPECT_FALSE(dictionary(kCFAllocatorNull)); }

TEST_F(DictionaryOwnership, without_memory_add_throws_and_changes_nothing) {
  expect_nothing_changes_without_memory(CFDictionaryAddValue);
}

TEST_F(DictionaryOwnership, without_memory_set_throws_and_changes_nothing) {
  expect_nothing_changes_without_memory(CFDictionarySetValue);
}

TEST_F(DictionaryOwnership, needs_no_memory_to_change_a_value_or_to_remove) {
  LimitedAllocator allocator;
  const auto integers = of_integers(allocator);
  CFDictionarySetValue(integers, &one, &one);
  CFDictionarySetValue(integers, &two, &two);
  allocator.allow(0);
  CFDictionarySetValue(integers, &one, &three);
  CFDictionaryAddValue(integers, &one, &two);
  CFDictionaryRemoveValue(integers, &two);
  EXPECT_EQ(CFDictionaryGetValue(integers, &one), &three);
  EXPECT_EQ(CFDictionaryGetCount(integers), 1);
}

TEST_F(DictionaryOwnership, takes_all_its_memory_from_its_allocator) {
  LimitedAllocator allocator;
  auto integers = of_integers(allocator);
  CFDictionarySetValue(integers, &one, &two);
  EXPECT_EQ(allocator.blocks(), 2) << "itself and room for the pairs";
  integers.give_back();
  EXPECT_EQ(allocator.blocks(), 0);
}

}  // namespace
}  // namespace hub::test
