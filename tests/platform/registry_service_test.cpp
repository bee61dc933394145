// SPDX-License-Identifier: Apache-2.0
// Holding a service's handle and reading its properties, while the host changes them.
#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

class Service : public RegistryTest {};

TEST_F(Service, one_service_has_one_handle_with_counted_references) {
  add(kNoParent, "Sensor", 1);
  auto found = first("Sensor");
  auto again = first("Sensor");
  EXPECT_EQ(found, again);
  EXPECT_EQ(platform::held_registry_references(), 2U);
  again.give_back();
  EXPECT_EQ(mark_of(found), 1) << "the other reference still holds the handle";
  EXPECT_EQ(platform::held_registry_references(), 1U);
}

TEST_F(Service, two_services_have_two_handles) {
  add(kNoParent, "Sensor", 1);
  add(kNoParent, "Other", 2);
  const auto sensor = first("Sensor");
  const auto other = first("Other");
  EXPECT_NE(sensor, other);
  EXPECT_EQ(mark_of(sensor), 1);
  EXPECT_EQ(mark_of(other), 2);
}

TEST_F(Service, retained_handle_takes_one_more_release) {
  add(kNoParent, "Sensor", 1);
  auto found = first("Sensor");
  const io_service_t handle = found;
  EXPECT_EQ(IOObjectRetain(handle), kIOReturnSuccess);
  found.give_back();
  EXPECT_EQ(mark_of(handle), 1);
  EXPECT_EQ(IOObjectRelease(handle), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(handle), kIOReturnBadArgument);
}

TEST_F(Service, handle_that_is_not_held_can_be_neither_retained_nor_released_nor_read) {
  add(kNoParent, "Sensor", 1);
  auto found = first("Sensor");
  const io_service_t released = found;
  found.give_back();
  for (const io_object_t handle : {released, IO_OBJECT_NULL, released + 1000}) {
    EXPECT_EQ(IOObjectRetain(handle), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(handle), kIOReturnBadArgument);
    EXPECT_EQ(mark_of(handle), kNone);
  }
}

TEST_F(Service, handle_released_too_often_is_reported_and_counted) {
  const std::size_t before = platform::wrong_registry_releases();
  testing::internal::CaptureStderr();
  IOObjectRelease(4711);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "platform: IOObjectRelease: handle 4711 is not held\n");
  EXPECT_EQ(platform::wrong_registry_releases(), before + 1);
}

TEST_F(Service, property_belongs_to_the_caller) {
  const auto value = string("value");
  const auto properties = dictionary();
  CFDictionarySetValue(properties, CFSTR("key"), value);
  platform::add_registry_entry(kNoParent, "service", "Sensor", properties);
  const auto copy = property(first("Sensor"), CFSTR("key"));
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(CFEqual(copy, CFSTR("value")));
  EXPECT_EQ(CFGetRetainCount(value), 3) << "the test, the properties and the copy";
}

TEST_F(Service, property_that_is_not_there_is_null) {
  add(kNoParent, "Sensor", 1);
  platform::add_registry_entry(kNoParent, "service", "Bare", nullptr);
  EXPECT_EQ(property(first("Sensor"), CFSTR("other")), nullptr);
  EXPECT_EQ(property(first("Bare"), CFSTR("mark")), nullptr);
}

TEST_F(Service, changed_properties_are_seen_at_once) {
  const auto entry = add(kNoParent, "Sensor", 1);
  const auto found = first("Sensor");
  platform::set_registry_properties(entry, marked(2));
  EXPECT_EQ(mark_of(found), 2);
  platform::set_registry_properties(entry, nullptr);
  EXPECT_EQ(mark_of(found), kNone);
}

TEST_F(Service, properties_of_a_child_can_be_changed) {
  const auto root = add(kNoParent, "Bus", 1);
  const auto child = add(root, "Sensor", 2);
  platform::set_registry_properties(child, marked(3));
  EXPECT_EQ(mark_of_first("Bus"), 1);
  EXPECT_EQ(mark_of_first("Sensor"), 3);
}

TEST_F(Service, property_that_was_read_survives_change_and_clear) {
  const auto entry = add(kNoParent, "Sensor", 1);
  const auto before = property(first("Sensor"), CFSTR("mark"));
  platform::set_registry_properties(entry, marked(2));
  const auto after = property(first("Sensor"), CFSTR("mark"));
  platform::clear_registry();
  EXPECT_EQ(value_of(before), 1);
  EXPECT_EQ(value_of(after), 2);
}

TEST_F(Service, handle_survives_clear_without_properties) {
  const auto root = add(kNoParent, "Bus", 1);
  add(root, "Sensor", 2);
  const auto bus = first("Bus");
  const auto sensor = first("Sensor");
  platform::clear_registry();
  EXPECT_EQ(mark_of(bus), kNone);
  EXPECT_EQ(mark_of(sensor), kNone);
  EXPECT_EQ(IOObjectRetain(sensor), kIOReturnSuccess);
  EXPECT_EQ(IOObjectRelease(sensor), kIOReturnSuccess);
}

TEST_F(Service, handle_that_survives_clear_holds_nothing_of_the_children) {
  const auto properties = marked(2);
  platform::add_registry_entry(add(kNoParent, "Bus", 1), "service", "Sensor", properties);
  const auto bus = first("Bus");
  platform::clear_registry();
  EXPECT_EQ(CFGetRetainCount(properties), 1);
}

TEST_F(Service, cleared_services_are_not_found_and_their_handles_not_given_again) {
  add(kNoParent, "Sensor", 1);
  const auto old = first("Sensor");
  platform::clear_registry();
  EXPECT_EQ(first("Sensor"), IO_OBJECT_NULL);
  add(kNoParent, "Sensor", 2);
  EXPECT_NE(first("Sensor"), old);
  EXPECT_EQ(mark_of_first("Sensor"), 2);
}

// Properties with a dictionary in which one value stands twice.
Owned<CFMutableDictionaryRef> twice(std::int64_t value) {
  auto properties = dictionary();
  const auto pair = dictionary();
  CFDictionarySetValue(pair, CFSTR("one"), number(value));
  CFDictionarySetValue(pair, CFSTR("same"), number(value));
  CFDictionarySetValue(properties, CFSTR("pair"), pair);
  return properties;
}

bool is_whole(CFTypeRef copy) {
  const auto pair = static_cast<CFDictionaryRef>(copy);
  return pair != nullptr &&
         value_of(CFDictionaryGetValue(pair, CFSTR("one"))) == value_of(CFDictionaryGetValue(pair, CFSTR("same")));
}

TEST_F(Service, readers_see_whole_properties_while_another_thread_changes_them) {
  const auto entry = platform::add_registry_entry(kNoParent, "service", "Sensor", twice(0));
  in_threads(3, [&](std::size_t index) {
    for (std::int64_t turn = 1; turn <= 1000; ++turn) {
      if (index == 0) {
        platform::set_registry_properties(entry, twice(turn));
      } else {
        EXPECT_TRUE(is_whole(property(first("Sensor"), CFSTR("pair"))));
      }
    }
  });
}

TEST_F(Service, readers_can_hold_handles_while_another_thread_fills_and_clears) {
  const auto change = [] {
    for (int turn = 0; turn < 500; ++turn) {
      add(add(kNoParent, "Bus", 0), "Sensor", 1);
      platform::clear_registry();
    }
  };
  const auto read = [] {
    for (int turn = 0; turn < 1000; ++turn) {
      const std::int64_t mark = mark_of_first("Sensor");
      EXPECT_TRUE(mark == 1 || mark == kNone) << mark;
    }
  };
  in_threads(3, [&](std::size_t index) { index == 0 ? change() : read(); });
  EXPECT_EQ(platform::held_registry_references(), 0U);
}

}  // namespace
}  // namespace hub::test
