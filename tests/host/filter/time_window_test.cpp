// SPDX-License-Identifier: Apache-2.0
#include "host/filter/time_window.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "profile/profile_decoder.h"
#include "registry/registry_host.h"

namespace hub::test {
namespace {

using host::ClockPair;
using host::parse_time_bound;
using host::TimeBound;
using host::TimeBoundError;
using host::TimeWindow;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMarch4 = 1'772'612'100;  // 2026-03-04 08:15:00 in Greenwich

constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";  // forward on 2026-03-29 at 2, back on 2026-10-25 at 3

class TimeBounds : public ::testing::Test {
 protected:
  TimeBounds() { use_zone("UTC"); }
  ~TimeBounds() override { platform::clear_registry(); }

  static void use_zone(const char* zone) { setenv("TZ", zone, 1); }

  // Ten seconds after the co-processor's start it was kMarch4.
  static constexpr ClockPair kPair{10 * kSecond, kMarch4* kSecond};

  static std::uint64_t since(const std::string& text, const ClockPair& pair = kPair) {
    return parse_time_bound(text, TimeBound::kSince, pair);
  }
  static std::uint64_t until(const std::string& text, const ClockPair& pair = kPair) {
    return parse_time_bound(text, TimeBound::kUntil, pair);
  }

  static std::string refusal(const std::string& text, const std::optional<ClockPair>& pair = kPair) try {
    return std::to_string(parse_time_bound(text, TimeBound::kSince, pair));
  } catch (const TimeBoundError& error) {
    return error.what();
  }

  // The calendar time in the line of a report.
  static std::string shown(std::uint64_t timestamp_us, const ClockPair& pair) {
    platform::clear_registry();
    host::publish_clock_pair(pair);
    std::string text;
    EXPECT_TRUE(profile_decoder::hub_time_to_wall_time(timestamp_us, text));
    return text;
  }

  // Local seconds of a calendar time, found by a pair whose clocks are the same.
  static std::uint64_t seconds(const std::string& text, TimeBound bound = TimeBound::kSince) {
    return parse_time_bound(text, bound, ClockPair{0, 0}) / 1'000'000;
  }
};

TEST_F(TimeBounds, digits_are_microseconds) {
  EXPECT_EQ(since("0"), 0U);
  EXPECT_EQ(since("0012"), 12U);
  EXPECT_EQ(until("18446744073709551615"), ~0ULL);
  EXPECT_EQ(parse_time_bound("5", TimeBound::kSince, std::nullopt), 5U);
}

TEST_F(TimeBounds, calendar_time_is_converted_by_the_pair) {
  EXPECT_EQ(since("2026-03-04 08:15:00"), 10'000'000U);
  EXPECT_EQ(since("2026-03-04T08:15:00.925970"), 10'925'970U);
  EXPECT_EQ(since("2026-03-05 08:15:01"), 86'411'000'000U);
}

TEST_F(TimeBounds, form_of_a_line_is_in_the_year_of_the_pair) {
  EXPECT_EQ(since("Mar 04 08:15:00.925970"), 10'925'970U);
  EXPECT_EQ(since("Mar 04 08:15:01"), 11'000'000U);
  EXPECT_EQ(since("Jan 01 00:00:00"), 0U);
  EXPECT_EQ(since("Dec 31 23:59:59"), since("2026-12-31 23:59:59"));
}

TEST_F(TimeBounds, time_alone_is_on_the_day_of_the_pair) {
  EXPECT_EQ(since("08:15:00.5"), 10'500'000U);
  EXPECT_EQ(since("23:59:59.999999"), since("2026-03-04 23:59:59.999999"));
}

TEST_F(TimeBounds, fraction_has_one_to_six_digits) {
  EXPECT_EQ(since("08:15:00.1"), 10'100'000U);
  EXPECT_EQ(since("08:15:00.000001"), 10'000'001U);
  EXPECT_EQ(since("08:15:00.000000"), 10'000'000U);
}

TEST_F(TimeBounds, calendar_time_is_local) {
  use_zone("XYZ-5:30");
  EXPECT_EQ(since("2026-03-04 13:45:00"), 10'000'000U);
  EXPECT_EQ(since("Mar 04 13:45:00"), 10'000'000U);
  EXPECT_EQ(since("13:45:00"), 10'000'000U);
}

TEST_F(TimeBounds, day_and_year_of_the_pair_are_local) {
  const ClockPair new_year{10 * kSecond, 1'767'225'600 * kSecond};  // 2026-01-01 00:00:00 in Greenwich
  use_zone("XYZ1");
  EXPECT_EQ(since("23:00:00", new_year), 10'000'000U);
  EXPECT_EQ(since("Dec 31 23:00:00", new_year), 10'000'000U);
  use_zone("UTC");
  EXPECT_EQ(since("00:00:00", new_year), 10'000'000U);
}

TEST_F(TimeBounds, pair_before_1970_has_its_day) {
  const ClockPair early{20 * kSecond, -kSecond / 2};  // 1969-12-31 23:59:59.5
  EXPECT_EQ(since("23:59:59.5", early), 20'000'000U);
  EXPECT_EQ(since("Dec 31 23:59:59.5", early), 20'000'000U);
}

TEST_F(TimeBounds, time_before_the_origin_is_zero) {
  EXPECT_EQ(since("2026-03-04 08:14:50"), 0U);
  EXPECT_EQ(since("2026-03-04 08:14:49.999999"), 0U);
  EXPECT_EQ(until("1970-01-01 00:00:00"), 0U);
  EXPECT_EQ(since("0000-01-01 00:00:00"), 0U);
}

TEST_F(TimeBounds, time_copied_from_a_line_is_that_of_its_record) {
  for (const char* zone : {"UTC", kBerlin, "XYZ11:30"}) {
    use_zone(zone);
    for (const std::uint64_t timestamp_us :
         {0ULL, 1ULL, 9'999'999ULL, 10'000'000ULL, 10'925'970ULL, 86'400'000'000ULL}) {
      for (const std::int64_t nanoseconds : {0, 1, 499, 500, 999}) {
        const ClockPair pair{10 * kSecond + nanoseconds, kMarch4 * kSecond};
        EXPECT_EQ(since(shown(timestamp_us, pair), pair), timestamp_us) << zone << " " << nanoseconds;
        EXPECT_EQ(until(shown(timestamp_us, pair), pair), timestamp_us) << zone << " " << nanoseconds;
      }
    }
  }
}

TEST_F(TimeBounds, line_is_found_again_when_the_difference_is_negative) {
  for (const std::int64_t nanoseconds : {0, 1, 499, 500, 999}) {
    const ClockPair pair{30 * kSecond + nanoseconds, 20 * kSecond};  // 1970-01-01 00:00:20
    for (const std::uint64_t timestamp_us : {10'000'001ULL, 10'500'000ULL, 3'600'000'000ULL}) {
      EXPECT_EQ(since(shown(timestamp_us, pair), pair), timestamp_us) << nanoseconds;
    }
  }
}

TEST_F(TimeBounds, line_that_wraps_to_the_far_end_is_found_there) {
  const ClockPair pair{30 * kSecond, 20 * kSecond};
  EXPECT_EQ(shown(0, pair), "Jul 21 23:34:23.709551");
  EXPECT_EQ(since("2554-07-21 23:34:23.709551", pair), 0U);
  EXPECT_EQ(shown(9'000'000, pair), "Jul 21 23:34:32.709551");
  EXPECT_EQ(since("2554-07-21 23:34:32.709551", pair), 9'000'000U);
  EXPECT_EQ(since("1970-01-01 00:00:00", pair), 10'000'000U);
}

TEST_F(TimeBounds, difference_beyond_64_bits_wraps_as_in_lines) {
  for (const ClockPair pair : {ClockPair{kHighest, kLowest}, ClockPair{kLowest, kHighest}}) {
    const std::string clock = shown(5'000'000, pair).substr(7);
    EXPECT_EQ(since("1970-01-01 " + clock, pair), 5'000'000U) << clock;
  }
}

TEST_F(TimeBounds, every_line_of_any_pair_is_selected_by_its_own_time) {
  std::mt19937_64 chance(7);  // NOLINT(cert-msc51-cpp): the same each time
  use_zone(kBerlin);
  for (int turn = 0; turn < 2000; ++turn) {
    const auto calendar = static_cast<std::int64_t>(chance() % (2'000'000'000ULL * kSecond));
    const ClockPair pair{static_cast<std::int64_t>(chance() % (100'000ULL * kSecond)), calendar};
    const auto timestamp_us = static_cast<std::uint64_t>(pair.hub / 1000) + chance() % 1000;
    const std::uint64_t bound = since(shown(timestamp_us, pair), pair);
    // A time that is shown twice is the first one, an hour before.
    EXPECT_TRUE(bound == timestamp_us || bound == std::max(timestamp_us, 3'600'000'000UL) - 3'600'000'000UL)
        << timestamp_us << " " << bound;
  }
}

TEST_F(TimeBounds, time_that_the_clocks_leave_out_is_refused) {
  use_zone(kBerlin);
  EXPECT_EQ(refusal("2026-03-29 02:30:00"),
            "\"2026-03-29 02:30:00\": expected a time that there is in the local time zone");
  EXPECT_EQ(seconds("2026-03-29 01:59:59") + 1, seconds("2026-03-29 03:00:00"));
}

TEST_F(TimeBounds, time_that_the_clocks_show_twice_widens_the_window) {
  use_zone(kBerlin);
  const std::uint64_t first = seconds("2026-10-25 02:30:00", TimeBound::kSince);
  EXPECT_EQ(first, 1'792'888'200U);
  EXPECT_EQ(seconds("2026-10-25 02:30:00", TimeBound::kUntil), first + 3600);
  EXPECT_EQ(seconds("2026-10-25 03:00:00", TimeBound::kUntil), first + 5400);
}

TEST_F(TimeBounds, days_and_times_that_there_are_not_are_refused) {
  for (const char* text : {"2026-02-29 00:00:00", "2026-13-01 00:00:00", "2026-00-01 00:00:00", "2026-01-32 00:00:00",
                           "2026-01-00 00:00:00", "24:00:00", "08:60:00", "08:15:60", "Feb 29 00:00:00"}) {
    EXPECT_TRUE(refusal(text).ends_with("expected a time that there is in the local time zone")) << refusal(text);
  }
  EXPECT_EQ(seconds("2028-02-29 00:00:00"), 1'835'395'200U);
}

TEST_F(TimeBounds, text_of_no_form_is_refused) {
  for (const char* text : {"",
                           " ",
                           "-5",
                           "+5",
                           "5s",
                           "1.5",
                           "0x10",
                           "now",
                           "8:15:00",
                           "08:15",
                           "08:15:00.",
                           "08:15:00.1234567",
                           "08:15:00,5",
                           "08:15:00.5 ",
                           " 08:15:00",
                           "2026-03-04",
                           "2026-03-04  08:15:00",
                           "2026-3-4 08:15:00",
                           "2026-03-04t08:15:00",
                           "2026-03-04 08:15:00Z",
                           "Mar 4 08:15:00",
                           "mar 04 08:15:00",
                           "Mar 04 2026 08:15:00",
                           "+8:15:00",
                           "-8:15:00",
                           "2026-03-04 08:15:-1"}) {
    EXPECT_EQ(refusal(text), "\"" + std::string(text) +
                                 "\": expected co-processor time in microseconds, or calendar time such as 2026-03-04 "
                                 "08:15:00, Mar 04 08:15:00.925970 or 08:15:00");
  }
}

TEST_F(TimeBounds, number_beyond_64_bits_is_refused) {
  EXPECT_EQ(refusal("18446744073709551616"), "\"18446744073709551616\": expected microseconds of at most 64 bits");
}

TEST_F(TimeBounds, calendar_time_without_a_pair_is_refused) {
  EXPECT_EQ(refusal("08:15:00", std::nullopt),
            "\"08:15:00\": expected co-processor time in microseconds; calendar time needs the clock pair");
}

TEST_F(TimeBounds, control_characters_of_a_refused_text_are_not_shown_as_they_are) {
  EXPECT_TRUE(refusal("\x1b[1m").starts_with("\"\\x1b[1m\": expected")) << refusal("\x1b[1m");
}

TEST(TimeWindow, without_bounds_has_every_time) {
  EXPECT_TRUE(TimeWindow{}.contains(0));
  EXPECT_TRUE(TimeWindow{}.contains(~0ULL));
}

TEST(TimeWindow, begin_is_in_it_and_end_is_not) {
  const TimeWindow window{5, 7};
  EXPECT_FALSE(window.contains(4));
  EXPECT_TRUE(window.contains(5));
  EXPECT_TRUE(window.contains(6));
  EXPECT_FALSE(window.contains(7));
  EXPECT_FALSE((TimeWindow{5, 5}.contains(5)));
  EXPECT_FALSE((TimeWindow{7, 5}.contains(6)));
}

}  // namespace
}  // namespace hub::test
