// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_clock.h"

#include <gtest/gtest.h>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

// Places records with a stamp each; their sequence numbers count up.
class TraceClockTest : public ::testing::Test {
 protected:
  TraceSpan place(std::uint64_t timestamp, std::uint64_t duration_us = 0) {
    return clock_.place(report(0, 0, 0, 0).time_us(timestamp).sequence(sequence_num_++), duration_us);
  }
  std::uint64_t end_of(std::uint64_t timestamp) { return place(timestamp).end_us; }
  void sequence(std::uint32_t next) { sequence_num_ = next; }

  static void expect_span(const TraceSpan& span, std::uint64_t start_us, std::uint64_t end_us) {
    EXPECT_EQ(span.start_us, start_us);
    EXPECT_EQ(span.end_us, end_us);
  }

 private:
  TraceClock clock_;
  std::uint32_t sequence_num_ = 1000;
};

TEST_F(TraceClockTest, first_record_is_at_zero_and_others_keep_their_distance) {
  expect_span(place(5000), 0, 0);
  expect_span(place(5001), 1, 1);
  expect_span(place(7000), 2000, 2000);
}

TEST_F(TraceClockTest, span_ends_at_the_stamp) {
  place(5000);
  expect_span(place(5100, 30), 70, 100);
}

TEST_F(TraceClockTest, span_of_the_first_record_is_whole_and_begins_at_zero) {
  expect_span(place(5000, 300), 0, 300);
  expect_span(place(5050, 20), 330, 350);
}

TEST_F(TraceClockTest, first_span_may_be_longer_than_its_stamp) { expect_span(place(5, 300), 0, 300); }

TEST_F(TraceClockTest, later_span_that_reaches_before_the_first_record_is_cut_there) {
  place(5000);
  expect_span(place(5100, 101), 0, 100);
}

TEST_F(TraceClockTest, late_record_keeps_its_place) {
  place(5000);
  place(9000);
  EXPECT_EQ(end_of(8900), 3900U);
  EXPECT_EQ(end_of(9100), 4100U);
}

TEST_F(TraceClockTest, record_stamped_before_the_first_one_is_shown_with_it) {
  place(5000, 10);
  expect_span(place(4999, 5), 4, 9);
  expect_span(place(4900), 0, 0);
  EXPECT_EQ(end_of(5020), 30U);
}

TEST_F(TraceClockTest, stamp_far_behind_continues_where_the_latest_one_was) {
  place(5'000'000);
  place(5'000'100);
  expect_span(place(20, 15), 100, 115);
  expect_span(place(30, 40), 100, 125);
}

TEST_F(TraceClockTest, a_second_behind_is_late_and_more_is_a_start_anew) {
  place(0);
  EXPECT_EQ(end_of(3'000'000), 3'000'000U);
  EXPECT_EQ(end_of(2'000'000), 2'000'000U);
  EXPECT_EQ(end_of(1'999'999), 3'000'000U);
}

TEST_F(TraceClockTest, sequence_that_begins_anew_tells_a_start_anew_within_a_second) {
  place(0);
  place(500);
  sequence(0);
  EXPECT_EQ(end_of(40), 500U);
  EXPECT_EQ(end_of(50), 510U);
}

TEST_F(TraceClockTest, sequence_behind_with_a_later_stamp_is_no_start_anew) {
  place(0);
  sequence(0);
  EXPECT_EQ(end_of(500), 500U);
}

TEST_F(TraceClockTest, late_records_may_have_earlier_numbers) {
  sequence(164);
  place(100);
  sequence(100);
  EXPECT_EQ(end_of(90), 0U);
  EXPECT_EQ(end_of(110), 10U);
}

TEST_F(TraceClockTest, number_further_behind_than_late_records_have_is_a_start_anew) {
  place(0);
  sequence(165);
  place(500);
  sequence(100);
  EXPECT_EQ(end_of(490), 500U);
}

TEST_F(TraceClockTest, lateness_is_told_across_the_wrap_of_the_sequence) {
  place(0);
  sequence(10);
  place(500);
  sequence(0xFFFFFFFF);
  EXPECT_EQ(end_of(400), 400U);
}

TEST_F(TraceClockTest, stamps_go_as_far_as_json_numbers) {
  place(0);
  EXPECT_EQ(end_of(kMaxTraceTime_us - 1), kMaxTraceTime_us - 1);
}

TEST_F(TraceClockTest, stamp_beyond_the_end_of_the_line_is_a_start_anew) {
  place(0);
  place(70);
  EXPECT_EQ(end_of(kMaxTraceTime_us), 70U);
  EXPECT_EQ(end_of(~0ULL), 70U);
  EXPECT_EQ(end_of(80), 70U);
  EXPECT_EQ(end_of(90), 80U);
}

TEST_F(TraceClockTest, nothing_goes_beyond_the_end_of_the_line) {
  place(0);
  place(kMaxTraceTime_us - 1);
  expect_span(place(0, 500), kMaxTraceTime_us - 1, kMaxTraceTime_us - 1);
  expect_span(place(600, 500), kMaxTraceTime_us - 1, kMaxTraceTime_us - 1);
}

}  // namespace
}  // namespace hub::test
