// SPDX-License-Identifier: Apache-2.0
#include "host/captures/clock_sources.h"

#include <gtest/gtest.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOKitLib.h"
#include "corefoundation/corefoundation_host.h"
#include "registry/registry_host.h"
#include "system/system_host.h"

namespace hub::test {
namespace {

using host::parse_boot_time;
using host::parse_clock_pair;

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

// The two clocks of a text that is a pair.
std::pair<std::int64_t, std::int64_t> clocks(const std::string& text) {
  const auto pair = parse_clock_pair(text);
  EXPECT_TRUE(pair) << text;
  return pair ? std::pair(pair->hub, pair->calendar) : std::pair(std::int64_t{0}, std::int64_t{0});
}

TEST(ClockPair, two_numbers_are_hub_and_calendar) { EXPECT_EQ(clocks("12,345"), std::pair(12L, 345L)); }

TEST(ClockPair, each_number_may_be_negative) {
  EXPECT_EQ(clocks("-12,345"), std::pair(-12L, 345L));
  EXPECT_EQ(clocks("12,-345"), std::pair(12L, -345L));
}

TEST(ClockPair, limits_of_64_bits_are_taken) {
  EXPECT_EQ(clocks("-9223372036854775808,9223372036854775807"), std::pair(kLowest, kHighest));
  EXPECT_EQ(clocks("9223372036854775807,-9223372036854775808"), std::pair(kHighest, kLowest));
}

TEST(ClockPair, zeros_at_the_front_do_not_make_a_number_octal) { EXPECT_EQ(clocks("010,08"), std::pair(10L, 8L)); }

TEST(ClockPair, number_beyond_the_limits_is_refused) {
  for (const char* text : {"9223372036854775808,0", "-9223372036854775809,0", "0,9223372036854775808",
                           "0,-9223372036854775809", "0,99999999999999999999999999"}) {
    EXPECT_FALSE(parse_clock_pair(text)) << text;
  }
}

TEST(ClockPair, text_without_two_numbers_is_refused) {
  for (const char* text : {"", ",", "1", "1,", ",1", "-,1", "1,-", "none", "a,b", "1;2", "1.2"}) {
    EXPECT_FALSE(parse_clock_pair(text)) << text;
  }
}

TEST(ClockPair, anything_around_the_numbers_is_refused) {
  for (const char* text : {" 1,2", "1 ,2", "1, 2", "1,2 ", "\t1,2", "1,2\n", "1,2,", "1,2,3", "1x,2", "1,2x", "+1,2",
                           "1,+2", "0x1,2", "1,0x2", "1.0,2", "1,2e3", "--1,2"}) {
    EXPECT_FALSE(parse_clock_pair(text)) << text;
  }
}

TEST(ClockPair, zero_byte_does_not_end_the_text) {
  EXPECT_FALSE(parse_clock_pair(std::string("1,2\0", 4)));
  EXPECT_FALSE(parse_clock_pair(std::string("1\0,2", 4)));
}

// The microseconds of a text that is a boot time.
std::optional<std::uint64_t> microseconds(const std::string& text) {
  const auto boot_time = parse_boot_time(text);
  EXPECT_TRUE(boot_time) << text;
  return boot_time ? boot_time->microseconds : std::nullopt;
}

TEST(BootTime, number_is_microseconds) { EXPECT_EQ(microseconds("1700000000123456"), 1700000000123456U); }

TEST(BootTime, none_is_no_time) { EXPECT_EQ(microseconds("none"), std::nullopt); }

TEST(BootTime, limits_are_taken) {
  EXPECT_EQ(microseconds("0"), 0U);
  EXPECT_EQ(microseconds("9223372036854775807"), 9223372036854775807U);
}

TEST(BootTime, number_out_of_range_is_refused) {
  for (const char* text : {"-1", "-9223372036854775808", "9223372036854775808", "18446744073709551615",
                           "18446744073709551616", "99999999999999999999999999"}) {
    EXPECT_FALSE(parse_boot_time(text)) << text;
  }
}

TEST(BootTime, text_that_is_neither_number_nor_none_is_refused) {
  for (const char* text : {"", "-", "x", "None", "NONE", "nones", " none", "none ", " 1", "1 ", "1\n", "+1", "1x",
                           "1,2", "1.0", "1e3", "0x10"}) {
    EXPECT_FALSE(parse_boot_time(text)) << text;
  }
}

// What is published is the process's own: each test starts and leaves with nothing published.
class PublishedClocks : public ::testing::Test {
 protected:
  PublishedClocks() { publish_nothing(); }
  ~PublishedClocks() override { publish_nothing(); }

  static void publish_nothing() {
    platform::clear_registry();
    platform::use_machine_boot_time();
  }

  static io_service_t timesync_service() {
    return IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("VantuHUBTimesync"));
  }

  static std::int64_t number(CFTypeRef dictionary, CFStringRef key) {
    std::int64_t value = 0;
    const CFTypeRef found = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key);
    EXPECT_NE(found, nullptr);
    EXPECT_TRUE(found != nullptr && CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberSInt64Type, &value));
    return value;
  }

  static std::pair<std::int64_t, std::int64_t> clocks_of_service() {
    const io_service_t service = timesync_service();
    const CFTypeRef pair = IORegistryEntryCreateCFProperty(service, CFSTR("timesync"), kCFAllocatorDefault, 0);
    IOObjectRelease(service);
    if (pair == nullptr) {
      ADD_FAILURE() << "no service, or no pair";
      return {};
    }
    const std::pair clocks(number(pair, CFSTR("hub")), number(pair, CFSTR("calendar")));
    CFRelease(pair);
    return clocks;
  }

  // What the kernel's query answers; nothing when it fails.
  static std::optional<std::pair<std::int64_t, std::int64_t>> kernel_boot_time() {
    std::array name = {CTL_KERN, KERN_BOOTTIME};
    timeval boot_time{};
    std::size_t length_bytes = sizeof boot_time;
    errno = 0;
    if (sysctl(name.data(), name.size(), &boot_time, &length_bytes, nullptr, 0) != 0) {
      return std::nullopt;
    }
    return std::pair<std::int64_t, std::int64_t>(boot_time.tv_sec, boot_time.tv_usec);
  }
};

TEST_F(PublishedClocks, without_a_pair_there_is_no_service) { EXPECT_EQ(timesync_service(), IO_OBJECT_NULL); }

TEST_F(PublishedClocks, pair_is_found_at_the_time_sync_service) {
  host::publish_clock_pair({12, 345});
  EXPECT_EQ(clocks_of_service(), std::pair(12L, 345L));
}

TEST_F(PublishedClocks, limits_and_signs_of_a_pair_are_kept) {
  host::publish_clock_pair({kLowest, kHighest});
  EXPECT_EQ(clocks_of_service(), std::pair(kLowest, kHighest));
}

TEST_F(PublishedClocks, boot_time_is_what_the_kernel_answers) {
  host::publish_boot_time({1700000000123456U});
  EXPECT_EQ(kernel_boot_time(), std::pair(1700000000L, 123456L));
}

TEST_F(PublishedClocks, limits_of_the_boot_time_are_kept) {
  host::publish_boot_time({0U});
  EXPECT_EQ(kernel_boot_time(), std::pair(0L, 0L));
  host::publish_boot_time({9223372036854775807U});
  EXPECT_EQ(kernel_boot_time(), std::pair(9223372036854L, 775807L));
}

TEST_F(PublishedClocks, no_boot_time_makes_the_query_fail) {
  host::publish_boot_time({std::nullopt});
  EXPECT_EQ(kernel_boot_time(), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(PublishedClocks, nothing_is_left_when_the_registry_is_cleared) {
  const auto dictionaries = platform::live_objects(CFDictionaryGetTypeID());
  const auto numbers = platform::live_objects(CFNumberGetTypeID());
  host::publish_clock_pair({12, 345});
  platform::clear_registry();
  EXPECT_EQ(platform::live_objects(CFDictionaryGetTypeID()), dictionaries);
  EXPECT_EQ(platform::live_objects(CFNumberGetTypeID()), numbers);
}

}  // namespace
}  // namespace hub::test
