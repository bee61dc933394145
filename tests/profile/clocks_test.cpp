// SPDX-License-Identifier: Apache-2.0
// The two times of a line that come from outside the report.
#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/corefoundation_host.h"
#include "failures/failures_host.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

CFMutableDictionaryRef make_dictionary() {
  return CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                   &kCFTypeDictionaryValueCallBacks);
}

void set_and_release(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value) {
  CFDictionarySetValue(dictionary, key, value);
  CFRelease(value);
}

CFNumberRef make_number(std::int64_t value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value); }

CFStringRef make_string(const char* text) {
  return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

class Clocks : public DecodeTest {
 protected:
  Clocks() { use_zone("UTC"); }
  ~Clocks() override { use_zone("UTC"); }

  static void use_zone(const char* zone) { setenv("TZ", zone, 1); }

  // Adds a service of this class; takes over the properties.
  static platform::RegistryEntryId add_service(const char* class_name, CFMutableDictionaryRef properties) {
    const auto entry = platform::add_registry_entry(platform::kNoParent, "service", class_name, properties);
    CFRelease(properties);
    return entry;
  }

  static CFMutableDictionaryRef properties_with(CFTypeRef timesync) {
    const CFMutableDictionaryRef properties = make_dictionary();
    set_and_release(properties, CFSTR("timesync"), timesync);
    return properties;
  }

  static CFMutableDictionaryRef clock_pair(std::int64_t hub, std::int64_t calendar) {
    const CFMutableDictionaryRef pair = make_dictionary();
    set_and_release(pair, CFSTR("hub"), make_number(hub));
    set_and_release(pair, CFSTR("calendar"), make_number(calendar));
    return pair;
  }

  static platform::RegistryEntryId add_time_sync(std::int64_t hub, std::int64_t calendar) {
    return add_service("VantuHUBTimesync", properties_with(clock_pair(hub, calendar)));
  }

  static std::string wall_time(unsigned long long timestamp_us) {
    std::string text;
    return profile_decoder::hub_time_to_wall_time(timestamp_us, text) ? text : "none";
  }

  static constexpr std::int64_t kNov16 = 1'763'268'681'123'456'000;  // 2025-11-16 04:51:21.123456 UTC, in nanoseconds
};

TEST_F(Clocks, line_ends_with_both_times_when_both_can_be_had) {
  add_time_sync(0, kNov16);
  platform::set_boot_time({1'763'000'000, 42});
  EXPECT_TRUE(line(report(8, 0, 0, 0))
                  .ends_with(",0,0], 'calendar-time':'Nov 16 04:51:21.123456', 'boot-timestamp':1763000000000042}"));
}

TEST_F(Clocks, without_boot_time_the_line_ends_with_calendar_time) {
  add_time_sync(0, kNov16);
  EXPECT_TRUE(line(report(8, 0, 0, 0)).ends_with(",0,0], 'calendar-time':'Nov 16 04:51:21.123456'}"));
}

TEST_F(Clocks, without_time_sync_service_the_line_ends_with_boot_time) {
  add_service("VantuHUBOther", properties_with(clock_pair(0, kNov16)));
  platform::set_boot_time({0, 7});
  EXPECT_TRUE(line(report(8, 0, 0, 0)).ends_with(",0,0], 'boot-timestamp':7}"));
}

TEST_F(Clocks, time_is_the_calendar_reading_moved_by_the_distance_from_the_hub_reading) {
  add_time_sync(5'000'000'000, kNov16);
  EXPECT_EQ(wall_time(5'000'000), "Nov 16 04:51:21.123456");
  EXPECT_EQ(wall_time(5'000'001), "Nov 16 04:51:21.123457");
  EXPECT_EQ(wall_time(4'000'000), "Nov 16 04:51:20.123456");
}

TEST_F(Clocks, nanoseconds_are_cut_not_rounded) {
  add_time_sync(0, 1999);
  EXPECT_EQ(wall_time(0), "Jan 01 00:00:00.000001");
}

TEST_F(Clocks, remainder_has_six_digits) {
  add_time_sync(0, 0);
  EXPECT_EQ(wall_time(7), "Jan 01 00:00:00.000007");
  EXPECT_EQ(wall_time(999'999), "Jan 01 00:00:00.999999");
  EXPECT_EQ(wall_time(1'000'000), "Jan 01 00:00:01.000000");
}

// (0 + 1000 - 5000) mod 2^64 is 18446744073709547616 ns, which is 18446744073709547 us: in the year 2554.
TEST_F(Clocks, difference_below_zero_wraps_to_a_time_far_ahead) {
  add_time_sync(5000, 1000);
  EXPECT_EQ(wall_time(0), "Jul 21 23:34:33.709547");
}

TEST_F(Clocks, product_above_64_bits_wraps) {
  add_time_sync(0, 0);
  EXPECT_EQ(wall_time(18'446'744'073'709'552), "Jan 01 00:00:00.000000");  // 384 ns
}

TEST_F(Clocks, negative_readings_count_as_they_are) {
  add_time_sync(-1'000'000, 1'000'000);
  EXPECT_EQ(wall_time(0), "Jan 01 00:00:00.002000");
}

TEST_F(Clocks, every_month_has_its_english_name) {
  add_time_sync(0, 0);
  const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  constexpr unsigned long long kMonthUs = 2'629'746'000'000;  // a twelfth of the mean year
  for (unsigned month = 0; month < 12; ++month) {
    EXPECT_EQ(wall_time(month * kMonthUs + kMonthUs / 2).substr(0, 3), names[month]);
  }
}

TEST_F(Clocks, month_names_do_not_follow_the_locale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  add_time_sync(0, kNov16);
  for (const char* name : {"C.UTF-8", "de_DE.UTF-8", "fr_FR.UTF-8"}) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(wall_time(0), "Nov 16 04:51:21.123456");
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST_F(Clocks, changed_time_zone_shows_in_the_next_time) {
  add_time_sync(0, kNov16);
  EXPECT_EQ(wall_time(0), "Nov 16 04:51:21.123456");
  use_zone("XYZ-5:45");
  EXPECT_EQ(wall_time(0), "Nov 16 10:36:21.123456");
  use_zone("XYZ+5");
  EXPECT_EQ(wall_time(0), "Nov 15 23:51:21.123456");
}

TEST_F(Clocks, daylight_saving_is_that_of_the_moment) {
  use_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  add_time_sync(0, kNov16);
  constexpr unsigned long long kHalfYearUs = 182ULL * 86'400 * 1'000'000;
  EXPECT_EQ(wall_time(0), "Nov 16 05:51:21.123456");
  EXPECT_EQ(wall_time(kHalfYearUs), "May 17 06:51:21.123456");
}

TEST_F(Clocks, changed_clock_pair_shows_in_the_next_time) {
  const auto service = add_time_sync(0, kNov16);
  EXPECT_EQ(wall_time(0), "Nov 16 04:51:21.123456");
  const CFMutableDictionaryRef properties = properties_with(clock_pair(0, 0));
  platform::set_registry_properties(service, properties);
  CFRelease(properties);
  EXPECT_EQ(wall_time(0), "Jan 01 00:00:00.000000");
}

TEST_F(Clocks, first_service_of_the_class_counts_even_without_the_property) {
  add_service("VantuHUBTimesync", make_dictionary());
  add_time_sync(0, kNov16);
  EXPECT_EQ(wall_time(0), "none");
}

TEST_F(Clocks, class_that_only_begins_alike_is_no_time_sync_service) {
  add_service("VantuHUBTimesyncTest", properties_with(clock_pair(0, kNov16)));
  EXPECT_EQ(wall_time(0), "none");
}

TEST_F(Clocks, timesync_that_is_no_dictionary_counts_as_missing) {
  add_service("VantuHUBTimesync", properties_with(make_number(1)));
  EXPECT_EQ(wall_time(0), "none");
}

TEST_F(Clocks, missing_hub_reading_counts_as_zero) {
  const CFMutableDictionaryRef pair = make_dictionary();
  set_and_release(pair, CFSTR("calendar"), make_number(kNov16));
  add_service("VantuHUBTimesync", properties_with(pair));
  EXPECT_EQ(wall_time(0), "Nov 16 04:51:21.123456");
}

TEST_F(Clocks, missing_calendar_reading_counts_as_zero) {
  const CFMutableDictionaryRef pair = make_dictionary();
  set_and_release(pair, CFSTR("hub"), make_number(-9000));
  add_service("VantuHUBTimesync", properties_with(pair));
  EXPECT_EQ(wall_time(0), "Jan 01 00:00:00.000009");
}

TEST_F(Clocks, reading_that_is_no_number_counts_as_zero) {
  const CFMutableDictionaryRef pair = make_dictionary();
  set_and_release(pair, CFSTR("hub"), make_string("5000"));
  set_and_release(pair, CFSTR("calendar"), make_number(kNov16));
  add_service("VantuHUBTimesync", properties_with(pair));
  EXPECT_EQ(wall_time(0), "Nov 16 04:51:21.123456");
}

// The text of one moment, before and after something is done to the environment.
class Zones : public Clocks {
 protected:
  Zones() {
    add_time_sync(0, 0);
    unsetenv("TZ");
  }
  ~Zones() override { unsetenv("TZ"); }

  static constexpr const char* kInUtc = "Jan 01 00:00:00.000000";
  static constexpr const char* kTwoHoursOn = "Jan 01 02:00:00.000000";
};

TEST_F(Zones, zone_that_comes_changes_or_goes_shows_in_the_next_line_of_the_same_second) {
  EXPECT_EQ(wall_time(0), kInUtc);
  setenv("TZ", "EET-2", 1);
  EXPECT_EQ(wall_time(0), kTwoHoursOn);
  setenv("TZ", "MSK-3", 1);
  EXPECT_EQ(wall_time(0), "Jan 01 03:00:00.000000");
  unsetenv("TZ");
  EXPECT_EQ(wall_time(0), kInUtc);
}

TEST_F(Zones, zone_that_is_written_over_in_place_shows) {
  static char entry[] = "TZ=EET-2";
  putenv(entry);
  EXPECT_EQ(wall_time(0), kTwoHoursOn);
  std::strcpy(entry, "TZ=MSK-3");
  EXPECT_EQ(wall_time(0), "Jan 01 03:00:00.000000");
}

TEST_F(Zones, zone_that_takes_the_place_of_another_variable_shows) {
  setenv("HUB_TEST_VARIABLE", "1", 1);
  EXPECT_EQ(wall_time(0), kInUtc);
  unsetenv("HUB_TEST_VARIABLE");
  setenv("TZ", "EET-2", 1);
  EXPECT_EQ(wall_time(0), kTwoHoursOn);
  setenv("HUB_TEST_VARIABLE", "1", 1);
  EXPECT_EQ(wall_time(0), kTwoHoursOn);
  unsetenv("TZ");
  EXPECT_EQ(wall_time(0), kInUtc);
  unsetenv("HUB_TEST_VARIABLE");
}

TEST_F(Zones, zone_of_any_length_shows) {
  for (std::size_t length = 3; length <= 100; ++length) {
    const std::string name(length, 'Z');
    setenv("TZ", (name + "-2").c_str(), 1);
    EXPECT_EQ(wall_time(0), kTwoHoursOn) << length;
    setenv("TZ", (name + "-3").c_str(), 1);
    EXPECT_EQ(wall_time(0), "Jan 01 03:00:00.000000") << length;
  }
}

TEST_F(Zones, empty_environment_is_utc) {
  setenv("TZ", "EET-2", 1);
  EXPECT_EQ(wall_time(0), kTwoHoursOn);
  char** const kept = environ;
  environ = nullptr;
  const std::string text = wall_time(0);
  environ = kept;
  EXPECT_EQ(text, kInUtc);
}

TEST_F(Zones, empty_environment_stays_utc) {
  char** const kept = environ;
  environ = nullptr;
  const std::string first = wall_time(0);
  const std::string second = wall_time(0);
  environ = kept;
  EXPECT_EQ(first, kInUtc);
  EXPECT_EQ(second, kInUtc);
}

TEST_F(Zones, zone_in_an_environment_of_its_own_shows_whatever_stood_there_before) {
  char other[] = "HUB_TEST_VARIABLE=1";
  char zone[] = "TZ=EET-2";
  char* variables[] = {nullptr, nullptr};
  char** const kept = environ;
  environ = variables;
  std::vector<std::string> texts;
  for (char* const variable : {static_cast<char*>(nullptr), static_cast<char*>(nullptr), other, other, zone, other}) {
    variables[0] = variable;
    texts.push_back(wall_time(0));
  }
  environ = kept;
  EXPECT_EQ(texts, (std::vector<std::string>{kInUtc, kInUtc, kInUtc, kInUtc, kTwoHoursOn, kInUtc}));
}

// On a thread that has asked for nothing yet.
TEST_F(Clocks, without_memory_for_the_question_there_is_no_time_until_there_is) {
  add_time_sync(0, kNov16);
  std::string without;
  std::string later;
  platform::plan_failures({.first = 1, .function = platform::Fallible::kIOServiceMatching});
  std::thread([&] {
    without = wall_time(0);
    later = wall_time(0);
  }).join();
  platform::end_failures();
  EXPECT_EQ(without, "none");
  EXPECT_EQ(later, "Nov 16 04:51:21.123456");
}

TEST_F(Clocks, without_service_the_text_is_left_alone) {
  std::string text = "as it was";
  EXPECT_FALSE(profile_decoder::hub_time_to_wall_time(0, text));
  EXPECT_EQ(text, "as it was");
}

// Decodes with what `fill_registry` adds, clears the registry, and counts what is left over.
template <typename Fill>
void expect_nothing_held_after_decoding(const Fill& fill_registry) {
  const CFTypeID types[] = {CFDictionaryGetTypeID(), CFNumberGetTypeID(), CFStringGetTypeID()};
  std::array<std::int64_t, std::size(types)> before{};
  std::transform(std::begin(types), std::end(types), before.begin(), platform::live_objects);
  fill_registry();
  NEBLogDecoder::to_string(report(8, 0, 0, 0));
  platform::clear_registry();
  for (std::size_t type = 0; type < std::size(types); ++type) {
    EXPECT_EQ(platform::live_objects(types[type]), before[type]) << "type " << types[type];
  }
  EXPECT_EQ(platform::held_registry_references(), 0U);
}

TEST_F(Clocks, nothing_is_held_after_a_look_up) {
  expect_nothing_held_after_decoding([] { add_time_sync(0, kNov16); });
}

TEST_F(Clocks, nothing_is_held_when_there_is_no_service) {
  expect_nothing_held_after_decoding([] {});
}

TEST_F(Clocks, nothing_is_held_when_the_property_is_missing) {
  expect_nothing_held_after_decoding([] { add_service("VantuHUBTimesync", make_dictionary()); });
}

TEST_F(Clocks, nothing_is_held_when_the_property_is_no_dictionary) {
  expect_nothing_held_after_decoding([] { add_service("VantuHUBTimesync", properties_with(make_number(1))); });
}

TEST_F(Clocks, boot_time_is_in_microseconds) {
  unsigned long long boot_time = 0;
  platform::set_boot_time({1'795'233'032, 456'896});
  EXPECT_TRUE(profile_decoder::get_boot_time(boot_time));
  EXPECT_EQ(boot_time, 1'795'233'032'456'896U);
}

TEST_F(Clocks, boot_microseconds_are_32_bits_and_signed) {
  unsigned long long boot_time = 0;
  platform::set_boot_time({1, 0xFFFFFFFF});
  EXPECT_TRUE(profile_decoder::get_boot_time(boot_time));
  EXPECT_EQ(boot_time, 999'999U);
}

TEST_F(Clocks, failing_boot_time_query_leaves_the_number_alone) {
  unsigned long long boot_time = 77;
  platform::fail_boot_time(EPERM);
  EXPECT_FALSE(profile_decoder::get_boot_time(boot_time));
  EXPECT_EQ(boot_time, 77U);
}

TEST_F(Clocks, the_machines_boot_time_is_the_same_for_all_records) {
  platform::use_machine_boot_time();
  const std::string first = line(report(8, 0, 0, 0));
  for (int record = 0; record < 1000; ++record) {
    ASSERT_EQ(line(report(8, 0, 0, 0)), first);
  }
}

TEST_F(Clocks, many_threads_decode_at_once_while_the_pair_changes) {
  const auto service = add_time_sync(0, kNov16);
  std::array<std::thread, 4> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([] {
      for (int record = 0; record < 500; ++record) {
        const std::string text = wall_time(0);
        EXPECT_TRUE(text == "Nov 16 04:51:21.123456" || text == "Jan 01 00:00:00.000000") << text;
      }
    });
  }
  for (int change = 0; change < 200; ++change) {
    const CFMutableDictionaryRef properties = properties_with(clock_pair(0, change % 2 == 0 ? 0 : kNov16));
    platform::set_registry_properties(service, properties);
    CFRelease(properties);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace hub::test
