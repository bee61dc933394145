// SPDX-License-Identifier: Apache-2.0
// Which service is found, and what the host may do to the registry.
#include <unistd.h>

#include <cstdlib>

#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

// A matching dictionary of one pair, with a reference for the caller and one to be taken over.
Owned<CFMutableDictionaryRef> matching(CFTypeRef key, CFTypeRef value) {
  auto pairs = dictionary();
  CFDictionarySetValue(pairs, key, value);
  CFRetain(pairs);
  return pairs;
}

class Registry : public RegistryTest {};

TEST_F(Registry, without_entries_has_no_service) {
  EXPECT_EQ(first("Sensor"), IO_OBJECT_NULL);
  EXPECT_EQ(platform::held_registry_references(), 0U);
}

TEST_F(Registry, finds_a_service_by_its_class) {
  add(kNoParent, "Other", 1);
  add(kNoParent, "Sensor", 2);
  EXPECT_EQ(mark_of_first("Sensor"), 2);
  EXPECT_EQ(mark_of_first("Other"), 1);
}

TEST_F(Registry, finds_no_service_by_another_text_than_its_class) {
  platform::add_registry_entry(kNoParent, "Name", "Sensor", nullptr);
  for (const char* text : {"", "sensor", "Senso", "Sensors", "ensor", "Name"}) {
    EXPECT_EQ(first(text), IO_OBJECT_NULL) << text;
  }
}

TEST_F(Registry, finds_no_service_by_a_text_that_goes_on_behind_a_zero) {
  add(kNoParent, "Sensor", 1);
  const UInt8 longer[] = "Sensor\0s";
  const Owned text(CFStringCreateWithBytes(kCFAllocatorDefault, longer, 8, kCFStringEncodingUTF8, false));
  const HeldService found(
      IOServiceGetMatchingService(kIOMasterPortDefault, matching(CFSTR(kIOProviderClassKey), text)));
  EXPECT_EQ(found, IO_OBJECT_NULL);
}

TEST_F(Registry, a_service_comes_before_its_children) {
  const auto root = add(kNoParent, "Sensor", 1);
  add(root, "Sensor", 2);
  EXPECT_EQ(mark_of_first("Sensor"), 1);
}

TEST_F(Registry, children_come_in_the_order_in_which_they_were_added) {
  const auto root = add(kNoParent, "Bus", 0);
  add(root, "Other", 1);
  add(root, "Sensor", 2);
  add(root, "Sensor", 3);
  EXPECT_EQ(mark_of_first("Sensor"), 2);
}

TEST_F(Registry, children_come_before_the_next_sibling_whenever_they_were_added) {
  const auto root = add(kNoParent, "Bus", 0);
  const auto older = add(root, "Bus", 1);
  add(root, "Sensor", 2);
  add(older, "Sensor", 3);
  EXPECT_EQ(mark_of_first("Sensor"), 3);
}

TEST_F(Registry, the_whole_first_tree_comes_before_the_second) {
  const auto first_root = add(kNoParent, "Bus", 0);
  add(kNoParent, "Sensor", 1);
  const auto below = add(first_root, "Bus", 2);
  add(below, "Sensor", 3);
  EXPECT_EQ(mark_of_first("Sensor"), 3);
}

TEST_F(Registry, a_later_tree_is_searched_when_the_first_ones_hold_nothing) {
  add(add(kNoParent, "Bus", 0), "Other", 1);
  add(kNoParent, "Other", 2);
  add(add(kNoParent, "Bus", 3), "Sensor", 4);
  EXPECT_EQ(mark_of_first("Sensor"), 4);
}

TEST_F(Registry, class_that_is_asked_for_as_nothing_fits_nothing) {
  add(kNoParent, "Sensor", 1);
  const CFMutableDictionaryRef asked =
      CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, nullptr);
  CFDictionarySetValue(asked, CFSTR(kIOProviderClassKey), nullptr);
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, asked), IO_OBJECT_NULL);
}

TEST_F(Registry, matching_dictionary_asks_for_the_class) {
  const Owned asked(IOServiceMatching("Sensor"));
  EXPECT_EQ(CFDictionaryGetCount(asked), 1);
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(asked, CFSTR(kIOProviderClassKey)), CFSTR("Sensor")));
  EXPECT_EQ(CFGetRetainCount(asked), 1);
}

TEST_F(Registry, matching_dictionary_that_fits_is_taken_over) {
  add(kNoParent, "Sensor", 1);
  const auto asked = matching(CFSTR(kIOProviderClassKey), CFSTR("Sensor"));
  EXPECT_NE(HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, asked)), IO_OBJECT_NULL);
  EXPECT_EQ(CFGetRetainCount(asked), 1);
}

TEST_F(Registry, matching_dictionary_that_fits_nothing_is_taken_over) {
  add(kNoParent, "Sensor", 1);
  const auto asked = matching(CFSTR(kIOProviderClassKey), CFSTR("Other"));
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, asked), IO_OBJECT_NULL);
  EXPECT_EQ(CFGetRetainCount(asked), 1);
}

TEST_F(Registry, unknown_matching_key_fits_nothing) {
  add(kNoParent, "Sensor", 1);
  for (const CFStringRef key : {CFSTR("mark"), CFSTR("IOProviderClas"), CFSTR("IOProviderClasses"), CFSTR("")}) {
    const auto asked = matching(key, CFSTR("Sensor"));
    CFDictionarySetValue(asked, CFSTR(kIOProviderClassKey), CFSTR("Sensor"));
    EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, asked), IO_OBJECT_NULL);
    EXPECT_EQ(CFGetRetainCount(asked), 1);
  }
}

TEST_F(Registry, matching_key_or_class_that_is_no_text_fits_nothing) {
  add(kNoParent, "5", 1);
  const auto five = number(5);
  EXPECT_EQ(IOServiceGetMatchingService(0, matching(five, CFSTR("5"))), IO_OBJECT_NULL);
  EXPECT_EQ(IOServiceGetMatchingService(0, matching(CFSTR(kIOProviderClassKey), five)), IO_OBJECT_NULL);
}

TEST_F(Registry, matching_dictionary_whose_keys_are_no_objects_fits_nothing) {
  add(kNoParent, "A", 1);
  const char keys[] = "five!";
  const CFMutableDictionaryRef matching = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, nullptr, nullptr);
  for (const char& key : keys) {
    CFDictionarySetValue(matching, &key, CFSTR("A"));
  }
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, matching), IO_OBJECT_NULL);
}

TEST_F(Registry, matching_argument_that_is_no_dictionary_ends_the_process) {
  add(kNoParent, "A", 1);
  EXPECT_DEATH(
      IOServiceGetMatchingService(kIOMasterPortDefault, reinterpret_cast<CFDictionaryRef>(CFRetain(CFSTR("A")))),
      "another type");
}

TEST_F(Registry, matching_dictionary_that_asks_for_nothing_fits_the_first_service) {
  add(kNoParent, "Bus", 1);
  add(kNoParent, "Sensor", 2);
  const HeldService found(
      IOServiceGetMatchingService(kIOMasterPortDefault, static_cast<CFDictionaryRef>(CFRetain(dictionary()))));
  EXPECT_EQ(mark_of(found), 1);
}

TEST_F(Registry, without_a_matching_dictionary_there_is_no_service) {
  add(kNoParent, "Sensor", 1);
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, nullptr), IO_OBJECT_NULL);
}

TEST_F(Registry, holds_the_properties_until_it_is_cleared) {
  const auto properties = marked(1);
  platform::add_registry_entry(kNoParent, "service", "Sensor", properties);
  EXPECT_EQ(CFGetRetainCount(properties), 2);
  platform::clear_registry();
  EXPECT_EQ(CFGetRetainCount(properties), 1);
}

TEST_F(Registry, replaced_properties_are_let_go) {
  const auto properties = marked(1);
  const auto entry = platform::add_registry_entry(kNoParent, "service", "Sensor", properties);
  platform::set_registry_properties(entry, marked(2));
  EXPECT_EQ(CFGetRetainCount(properties), 1);
}

// Properties that ask the registry something when they are let go.
Owned<CFMutableDictionaryRef> asking_at_their_end() {
  CFDictionaryValueCallBacks asking{};
  asking.release = [](CFAllocatorRef, const void*) { platform::held_registry_references(); };
  Owned properties(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &asking));
  CFDictionarySetValue(properties, CFSTR("key"), nullptr);
  return properties;
}

TEST_F(Registry, properties_that_are_let_go_may_ask_it) {
  const auto let_go_twice = [] {
    alarm(30);  // in place of waiting for ever
    const auto entry = platform::add_registry_entry(kNoParent, "service", "Sensor", asking_at_their_end());
    platform::set_registry_properties(entry, asking_at_their_end());
    platform::clear_registry();
    std::_Exit(EXIT_SUCCESS);
  };
  EXPECT_EXIT(let_go_twice(), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST_F(Registry, host_that_names_an_unknown_entry_ends_the_process) {
  const auto entry = add(kNoParent, "Sensor", 1);
  EXPECT_DEATH(add(entry + 1, "Sensor", 2), "platform: add_registry_entry: no such entry");
  EXPECT_DEATH(platform::set_registry_properties(entry + 1, nullptr),
               "platform: set_registry_properties: no such entry");
  EXPECT_DEATH(platform::set_registry_properties(kNoParent, nullptr),
               "platform: set_registry_properties: no such entry");
}

TEST_F(Registry, entries_of_a_cleared_registry_are_unknown) {
  const auto entry = add(kNoParent, "Sensor", 1);
  platform::clear_registry();
  add(kNoParent, "Sensor", 2);
  EXPECT_DEATH(platform::set_registry_properties(entry, nullptr), "no such entry");
}

}  // namespace
}  // namespace hub::test
