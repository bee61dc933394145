// SPDX-License-Identifier: Apache-2.0
// The counters of the services that deliver a sensor's events: which are asked, and what they show.
#include <string>

#include "tests/plugin/sensor_fixture.h"
#include "tests/support/property_list_objects.h"

namespace hub::test {
namespace {

using platform::PropertyListDictionary;
using platform::PropertyListValue;

PropertyListValue number(std::int64_t value) { return {value}; }

class EventCounters : public SensorStateTest {
 protected:
  // The third level; the second is the sensor's driver.
  platform::RegistryEntryId add_queue() {
    return platform::add_registry_entry(sensor->driver_entry, "queue", "Queue", nullptr);
  }

  static void set_debug_state(platform::RegistryEntryId entry, PropertyListValue state) {
    const auto properties = objects_of({PropertyListDictionary{{"DebugState", std::move(state)}}});
    platform::set_registry_properties(entry, static_cast<CFDictionaryRef>(properties.get()));
  }

  std::string events() { return snapshot().entry("APEvents"); }

  static std::string text(const std::string& events, const std::string& enqueued, const std::string& dropped,
                          const std::string& event_delta = "0.000000", const std::string& dropped_delta = "0.000000") {
    return "'" + events + " [enqueued=" + enqueued + " dropped=" + dropped + "; event_delta=" + event_delta +
           " dropped_delta=" + dropped_delta + "]\n'";
  }
};

TEST_F(EventCounters, come_from_the_second_and_third_level_below_the_device) {
  const auto queue_entry = add_queue();
  set_debug_state(sensor->driver_entry, {PropertyListDictionary{{"_num_events", number(5)},
                                                                {"EnqueueEventCount", number(99)},
                                                                {"DroppedEventCount", number(99)}}});
  set_debug_state(queue_entry, {PropertyListDictionary{{"_num_events", number(99)},
                                                       {"EnqueueEventCount", number(6)},
                                                       {"DroppedEventCount", number(7)},
                                                       {"LastEventTime", number(1500000000)},
                                                       {"LastDroppedEventTime", number(250000)}}});
  EXPECT_EQ(events(), text("5", "6", "7", "1.500000", "0.000250"));
}

TEST_F(EventCounters, are_those_of_first_children) {
  const auto first = add_queue();
  set_debug_state(first, {PropertyListDictionary{{"DroppedEventCount", number(1)}}});
  set_debug_state(add_queue(), {PropertyListDictionary{{"DroppedEventCount", number(2)}}});
  EXPECT_EQ(events(), text("-1", "-1", "1"));
}

TEST_F(EventCounters, are_left_out_without_a_third_level) { EXPECT_EQ(events(), "none"); }

TEST_F(EventCounters, are_left_out_when_any_of_the_three_levels_cannot_be_had) {
  add_queue();
  for (const std::uint64_t level : {1U, 2U, 3U}) {
    const Snapshots snapshots = capture_failing(platform::Fallible::kIORegistryEntryGetChildEntry, level);
    ASSERT_EQ(titles_of(snapshots), (Story{"SensorInfo"})) << level;
    EXPECT_EQ(snapshots[0].entry("APEvents"), "none") << level;
  }
}

TEST_F(EventCounters, are_left_out_when_any_of_the_three_levels_is_said_to_be_there_and_is_not) {
  add_queue();
  for (const std::uint64_t level : {1U, 2U, 3U}) {
    platform::plan_failures(
        {.first = level, .function = platform::Fallible::kIORegistryEntryGetChildEntry, .code = kIOReturnSuccess});
    EXPECT_EQ(events(), "none") << level;
    platform::end_failures();
  }
  EXPECT_NE(events(), "none");
}

TEST_F(EventCounters, without_debug_state_are_minus_one_and_times_zero) {
  add_queue();
  EXPECT_EQ(events(), text("-1", "-1", "-1"));
}

TEST_F(EventCounters, without_debug_state_of_one_level_still_show_the_others) {
  set_debug_state(add_queue(), {PropertyListDictionary{{"EnqueueEventCount", number(6)}}});
  EXPECT_EQ(events(), text("-1", "6", "-1"));
  set_debug_state(sensor->driver_entry, {PropertyListDictionary{{"_num_events", number(5)}}});
  EXPECT_EQ(events(), text("5", "6", "-1"));
}

TEST_F(EventCounters, of_a_debug_state_that_is_no_dictionary_are_minus_one) {
  const auto queue_entry = add_queue();
  for (const PropertyListValue& state : {number(5), PropertyListValue{std::string("text")}, PropertyListValue{true}}) {
    set_debug_state(sensor->driver_entry, state);
    set_debug_state(queue_entry, state);
    EXPECT_EQ(events(), text("-1", "-1", "-1"));
  }
}

TEST_F(EventCounters, that_are_no_numbers_are_minus_one_and_times_zero) {
  const PropertyListValue words = {std::string("5")};
  set_debug_state(sensor->driver_entry, {PropertyListDictionary{{"_num_events", words}}});
  set_debug_state(add_queue(), {PropertyListDictionary{{"EnqueueEventCount", {true}},
                                                       {"DroppedEventCount", words},
                                                       {"LastEventTime", words},
                                                       {"LastDroppedEventTime", {false}}}});
  EXPECT_EQ(events(), text("-1", "-1", "-1"));
}

TEST_F(EventCounters, of_more_than_32_bits_show_their_low_32) {
  set_debug_state(sensor->driver_entry, {PropertyListDictionary{{"_num_events", number(0x100000005)}}});
  set_debug_state(add_queue(), {PropertyListDictionary{{"EnqueueEventCount", number(0x280000000)},
                                                       {"DroppedEventCount", number(0x3FFFFFFFE)}}});
  EXPECT_EQ(events(), text("5", "-2147483648", "-2"));
}

TEST_F(EventCounters, of_fewer_bits_keep_their_sign) {
  const auto small = [](CFNumberType type, std::int16_t value) {
    return platform::Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, type, &value));
  };
  const platform::Owned<CFMutableDictionaryRef> state(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(state.get(), CFSTR("EnqueueEventCount"), small(kCFNumberSInt16Type, -300).get());
  CFDictionarySetValue(state.get(), CFSTR("DroppedEventCount"), small(kCFNumberSInt8Type, -3).get());
  CFDictionarySetValue(state.get(), CFSTR("LastEventTime"), small(kCFNumberSInt16Type, 30000).get());
  const void* key = CFSTR("DebugState");
  const void* value = state.get();
  const platform::Owned<CFDictionaryRef> properties(CFDictionaryCreate(
      kCFAllocatorDefault, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  platform::set_registry_properties(add_queue(), properties.get());
  EXPECT_EQ(events(), text("-1", "-300", "-3", "0.000030"));
}

TEST_F(EventCounters, that_are_real_numbers_are_cut_to_whole_ones) {
  set_debug_state(sensor->driver_entry, {PropertyListDictionary{{"_num_events", {2.75}}}});
  set_debug_state(add_queue(), {PropertyListDictionary{{"LastEventTime", {2e9}}}});
  EXPECT_EQ(events(), text("2", "-1", "-1", "2.000000"));
}

TEST_F(EventCounters, times_are_unsigned_nanoseconds) {
  set_debug_state(add_queue(),
                  {PropertyListDictionary{{"LastEventTime", number(-1)}, {"LastDroppedEventTime", number(INT64_MAX)}}});
  EXPECT_EQ(events(), text("-1", "-1", "-1", "18446744073.709553", "9223372036.854776"));
}

}  // namespace
}  // namespace hub::test
