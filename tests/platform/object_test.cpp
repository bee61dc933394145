// SPDX-License-Identifier: Apache-2.0
// What holds for objects of every type: counts, identity, and the end of a process that misuses them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// Memory of one object at a time that stays readable after the object was freed.
CFAllocatorRef lasting_memory() {
  static const CFAllocatorRef allocator = [] {
    CFAllocatorContext context{};
    context.allocate = [](CFIndex length_bytes, CFOptionFlags, void*) -> void* {
      alignas(std::max_align_t) static unsigned char memory[1024];
      return length_bytes <= static_cast<CFIndex>(sizeof memory) ? memory : nullptr;
    };
    return CFAllocatorCreate(kCFAllocatorDefault, &context);
  }();
  return allocator;
}

class Object : public PlatformTest {
 protected:
  Object() { CFDictionarySetValue(a_dictionary, CFSTR("key"), CFSTR("value")); }

  // One of each type.
  [[nodiscard]] std::vector<CFTypeRef> all() const {
    return {an_allocator, a_string, a_number, a_dictionary, some_data, an_array, an_identifier};
  }

  static Owned<CFAllocatorRef> create_allocator() {
    const CFAllocatorContext context{};
    return Owned(CFAllocatorCreate(kCFAllocatorDefault, &context));
  }

  Owned<CFAllocatorRef> an_allocator = create_allocator();
  Owned<CFStringRef> a_string = string("text");
  Owned<CFNumberRef> a_number = number(4);  // the string's length: contents of another type must not be looked at
  Owned<CFMutableDictionaryRef> a_dictionary = dictionary();
  Owned<CFDataRef> some_data = Owned(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
  Owned<CFMutableArrayRef> an_array = Owned(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  Owned<CFUUIDRef> an_identifier = Owned(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, CFUUIDBytes{}));
};

TEST_F(Object, is_owned_once_when_it_is_created) {
  for (const CFTypeRef object : all()) {
    EXPECT_EQ(CFGetRetainCount(object), 1);
  }
}

TEST_F(Object, retain_counts_up_and_returns_the_object) {
  for (const CFTypeRef object : all()) {
    EXPECT_EQ(CFRetain(object), object);
    EXPECT_EQ(CFGetRetainCount(object), 2);
    CFRelease(object);
  }
}

TEST_F(Object, release_counts_down) {
  for (const CFTypeRef object : all()) {
    CFRetain(object);
    CFRetain(object);
    CFRelease(object);
    EXPECT_EQ(CFGetRetainCount(object), 2);
    CFRelease(object);
  }
}

TEST_F(Object, last_release_gives_the_memory_back_to_its_allocator) {
  LimitedAllocator allocator;
  auto text = string("text", allocator);
  CFRetain(text);
  CFRelease(text);
  EXPECT_EQ(allocator.blocks(), 1);
  text.give_back();
  EXPECT_EQ(allocator.blocks(), 0);
}

TEST_F(Object, is_counted_as_live_from_creation_to_the_last_release) {
  for (const CFTypeID type : {CFStringGetTypeID(), CFNumberGetTypeID(), CFDictionaryGetTypeID()}) {
    EXPECT_EQ(platform::live_objects(type), 1) << type;
  }
  auto another = number(6);
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 2);
  another.give_back();
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 1);
}

TEST_F(Object, is_counted_whichever_threads_create_and_free_it) {
  std::vector<CFTypeRef> created(4);
  in_threads(4, [&](std::size_t index) { created[index] = CFRetain(number(6)); });
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 1 + 4);
  in_threads(2, [&](std::size_t index) { CFRelease(created[index]); });
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 1 + 2);
  CFRelease(created[2]);
  CFRelease(created[3]);
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 1);
}

TEST_F(Object, of_an_unknown_type_none_is_live) {
  EXPECT_EQ(platform::live_objects(0), 0);
  EXPECT_EQ(platform::live_objects(~CFTypeID{0}), 0);
}

TEST_F(Object, that_could_not_be_created_is_not_counted) {
  EXPECT_FALSE(number(6, kCFAllocatorNull));
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), 1);
}

TEST_F(Object, knows_its_type) {
  EXPECT_EQ(CFGetTypeID(an_allocator), CFAllocatorGetTypeID());
  EXPECT_EQ(CFGetTypeID(a_string), CFStringGetTypeID());
  EXPECT_EQ(CFGetTypeID(a_number), CFNumberGetTypeID());
  EXPECT_EQ(CFGetTypeID(a_dictionary), CFDictionaryGetTypeID());
}

TEST_F(Object, equals_itself_and_none_of_another_type) {
  for (const CFTypeRef first : all()) {
    for (const CFTypeRef second : all()) {
      EXPECT_EQ(CFEqual(first, second), first == second);
    }
  }
}

TEST_F(Object, with_equal_contents_is_equal_and_hashes_the_same) {
  const auto text = string("text");
  const auto four = number(4);
  EXPECT_TRUE(CFEqual(a_string, text));
  EXPECT_EQ(CFHash(a_string), CFHash(text));
  EXPECT_TRUE(CFEqual(a_number, four));
  EXPECT_EQ(CFHash(a_number), CFHash(four));
}

TEST_F(Object, with_other_contents_is_not_equal) {
  EXPECT_FALSE(CFEqual(a_string, CFSTR("texts")));
  EXPECT_FALSE(CFEqual(a_number, number(6)));
  EXPECT_FALSE(CFEqual(a_dictionary, dictionary()));
}

TEST_F(Object, created_with_no_allocator_belongs_to_the_systems) {
  for (const CFTypeRef object : all()) {
    EXPECT_EQ(CFGetAllocator(object), kCFAllocatorSystemDefault);
  }
}

TEST_F(Object, names_the_allocator_it_was_created_with) {
  LimitedAllocator allocator;
  EXPECT_EQ(CFGetAllocator(number(6, allocator)), allocator);
  EXPECT_EQ(CFGetAllocator(string("six", allocator)), allocator);
  EXPECT_EQ(CFGetAllocator(dictionary(allocator)), allocator);
}

TEST_F(Object, many_threads_can_retain_and_release_it) {
  in_threads(4, [&](std::size_t) {
    for (int turn = 0; turn < 500'000; ++turn) {
      CFRelease(CFRetain(a_string));
    }
  });
  EXPECT_EQ(CFGetRetainCount(a_string), 1);
}

TEST_F(Object, the_last_of_many_threads_to_release_it_frees_it) {
  LimitedAllocator allocator;
  for (int turn = 0; turn < 100; ++turn) {
    const CFNumberRef shared = CFNumberCreate(allocator, kCFNumberIntType, &turn);
    CFRetain(shared);
    CFRetain(shared);
    in_threads(3, [&](std::size_t) { CFRelease(shared); });
    EXPECT_EQ(allocator.blocks(), 0);
  }
}

TEST_F(Object, null_in_place_of_one_ends_the_process) {
  EXPECT_DEATH(CFRetain(nullptr), "platform: CFRetain: NULL in place of an object");
  EXPECT_DEATH(CFRelease(nullptr), "platform: CFRelease: NULL in place of an object");
  EXPECT_DEATH(CFGetRetainCount(nullptr), "platform: CFGetRetainCount: NULL in place of an object");
  EXPECT_DEATH(CFGetTypeID(nullptr), "platform: CFGetTypeID: NULL in place of an object");
  EXPECT_DEATH(CFEqual(nullptr, a_string), "platform: CFEqual: NULL in place of an object");
  EXPECT_DEATH(CFEqual(a_string, nullptr), "platform: CFEqual: NULL in place of an object");
  EXPECT_DEATH(CFHash(nullptr), "platform: CFHash: NULL in place of an object");
  EXPECT_DEATH(CFGetAllocator(nullptr), "platform: CFGetAllocator: NULL in place of an object");
}

TEST_F(Object, release_after_the_last_one_ends_the_process) {
  const auto release_twice = [] {
    const CFTypeRef object = CFStringCreateWithCString(lasting_memory(), "text", kCFStringEncodingUTF8);
    CFRelease(object);
    CFRelease(object);
  };
  EXPECT_DEATH(release_twice(), "platform: CFRelease: an object that nobody owns any more");
}

// Sanitizers' heaps move a block, and give its old place away.
bool heap_shortens_in_place() {
  void* block = std::malloc(5000);
  const auto place = reinterpret_cast<std::uintptr_t>(block);
  void* front = std::realloc(block, 16);
  const bool is_in_place = reinterpret_cast<std::uintptr_t>(front) == place;
  std::free(front);
  return is_in_place;
}

// The heap's memory is kept for a while, so that this does not depend on what was created meanwhile.
TEST_F(Object, of_the_systems_allocator_is_known_to_be_freed_after_others_were_created) {
  const auto use_freed = [](auto use, std::size_t length) {
    const std::string text(length, 'x');
    const CFTypeRef object = CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8);
    CFRelease(object);
    for (std::int64_t value = 0; value < 200; ++value) {
      number(value);
    }
    std::vector<Owned<CFStringRef>> alike;
    while (alike.size() < 200) {
      alike.push_back(string(text.c_str()));
    }
    use(object);
  };
  for (const std::size_t length : {1U, 800U, 3000U}) {
    EXPECT_DEATH(use_freed(CFRelease, length), "platform: CFRelease: an object that nobody owns any more");
    EXPECT_DEATH(use_freed(CFRetain, length), "platform: CFRetain: an object that nobody owns any more");
    EXPECT_DEATH(use_freed(CFHash, length), "platform: CFHash: an object that nobody owns any more");
  }
  if (heap_shortens_in_place()) {  // of a large one the front alone stays
    EXPECT_DEATH(use_freed(CFRetain, 5000), "platform: CFRetain: an object that nobody owns any more");
  }
}

TEST_F(Object, of_another_type_ends_the_process) {
  const CFTypeRef text = a_string;
  const CFTypeRef four = a_number;
  EXPECT_DEATH(CFStringGetLength(static_cast<CFStringRef>(four)), "platform: CFStringGetLength: an object of another");
  EXPECT_DEATH(CFNumberGetType(static_cast<CFNumberRef>(text)), "platform: CFNumberGetType: an object of another");
  EXPECT_DEATH(CFDictionaryGetCount(static_cast<CFDictionaryRef>(text)),
               "platform: CFDictionaryGetCount: an object of another");
}

}  // namespace
}  // namespace hub::test
