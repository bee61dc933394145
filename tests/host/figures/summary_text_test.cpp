// SPDX-License-Identifier: Apache-2.0
#include "host/figures/summary_text.h"

#include <gtest/gtest.h>

#include "host/figures/figure_text.h"
#include "tests/host/figures/summary_fixture.h"

namespace hub::test {
namespace {

using namespace hub::host;

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

CaptureSummary example_with_loss() {
  CaptureSummary summary = example_summary();
  summary.set_loss({.gaps = 1, .missing_records = 37});
  return summary;
}

// A function's report, by its number.
_HubProfileReport function(std::uint64_t function_id, std::uint64_t duration) {
  return report(0, 1, 0, 5).u32(0, function_id).u32(12, duration);
}

TEST(SummaryText, example_capture_looks_as_shown_at_each_width) {
  for (const std::size_t width : {40U, 80U, 120U}) {
    EXPECT_EQ(summary_text(example_with_loss(), width), expected_text("boot_to_press", width)) << width;
  }
}

TEST(SummaryText, no_line_is_wider_than_the_terminal_or_ends_with_a_blank) {
  const CaptureSummary summary = example_with_loss();
  for (std::size_t width = 40; width <= 200; ++width) {
    const std::string text = summary_text(summary, width);
    EXPECT_LE(longest_line(text), width);
    EXPECT_FALSE(has(text, " \n"));
  }
}

TEST(SummaryText, wide_terminal_shows_every_column_and_fills_no_more_than_they_need) {
  const std::string text = summary_text(example_with_loss(), 10'000);
  EXPECT_TRUE(has(text, "play asset  button up  finger off\n"));
  EXPECT_LT(longest_line(text), 180U);
}

TEST(SummaryText, capture_without_a_record_has_dashes_and_no_tables) {
  EXPECT_EQ(summary_text(CaptureSummary(), 80),
            "capture\n"
            "records    0\n"
            "bytes      0\n"
            "records/s  -\n"
            "first (s)  -\n"
            "last (s)   -\n"
            "span (s)   -\n"
            "\n"
            "no loss known\n");
}

TEST(SummaryText, one_record_has_a_time_and_no_rate) {
  EXPECT_EQ(summary_text(summary_of({report(12, 3, 4, 0).time_us(2'000'001)}), 80),
            "capture\n"
            "records           1\n"
            "bytes            48\n"
            "records/s         -\n"
            "first (s)  2.000001\n"
            "last (s)   2.000001\n"
            "span (s)   0.000000\n"
            "\n"
            "no loss known\n"
            "\n"
            "category  count   share  per s  first (s)  last (s)\n"
            "cm            1  100.0%      -   2.000001  2.000001\n"
            "\n"
            "component  count   share  per s  first (s)  last (s)\n"
            "cm/3           1  100.0%      -   2.000001  2.000001\n"
            "\n"
            "event   count   share  per s  first (s)  last (s)\n"
            "cm/3/4      1  100.0%      -   2.000001  2.000001\n");
}

TEST(SummaryText, rows_that_are_not_shown_are_one_row_with_the_figures_of_all) {
  const std::string text = summary_text(summary_of({function(1, 500), function(2, 20), function(3, 30)}), 80, 1);
  EXPECT_TRUE(has(text,
                  "function    calls  total  thread total  min  p50  p95  p99  max\n"
                  "function 1      1    500             0  500  500  500  500  500\n"
                  "(2 more)        2     50             0   20   20   30   30   30\n"));
}

TEST(SummaryText, functions_that_are_not_told_apart_are_a_row_and_explained) {
  CaptureSummary summary;
  for (std::uint64_t function_id = 0; function_id < 1100; ++function_id) {
    summary.see(function(function_id, 10));
  }
  const std::string text = summary_text(summary, 80, 1);
  EXPECT_TRUE(has(text, "(1023 more)   1023  10230"));
  EXPECT_TRUE(has(text, "(others)        76    760"));
  EXPECT_TRUE(has(text, "(others): what came after the first 1024 rows of a table.\n"));
}

TEST(SummaryText, bytes_of_a_name_that_are_no_text_are_escaped) {
  const std::string text = summary_text(
      summary_of({report(0, 4, 0, 9).text(16, "a\x1b[0m"), report(0, 4, 0, 9).text(16, "\xff"), report(0, 4, 0, 9)}),
      80);
  EXPECT_TRUE(has(text, "extfunction a\\x1b[0m  "));
  EXPECT_TRUE(has(text, "extfunction \\xff  "));
  EXPECT_TRUE(has(text, "extfunction (no name)  "));
}

TEST(SummaryText, layout_without_thread_durations_shows_none) {
  EXPECT_TRUE(has(summary_text(summary_of({report(0, 4, 0, 9).text(16, "boot").u32(8, 5)}), 80),
                  "extfunction boot      1      5             -    5"));
}

TEST(SummaryText, percentiles_that_are_not_exact_are_explained) {
  CaptureSummary summary;
  for (std::uint64_t number = 1; number <= 257; ++number) {
    EXPECT_FALSE(has(summary_text(summary, 80), "within 1 %"));
    summary.see(function(1, number));
  }
  EXPECT_TRUE(
      has(summary_text(summary, 80), "\nPercentiles of more than 256 values are within 1 % of the exact ones.\n"));
}

TEST(SummaryText, span_is_explained_when_the_clock_went_backwards) {
  CaptureSummary summary = summary_of({report(1, 0, 0, 3)});
  summary.set_loss({.restarts = 1});
  EXPECT_TRUE(has(summary_text(summary, 40),
                  "\nThe clock went backwards: the span\nreaches from the smallest time to the\nlargest.\n"));
}

TEST(SummaryText, checkpoints_without_a_press_are_counted) {
  EXPECT_TRUE(has(summary_text(summary_of({report(7, 3, 7, 3)}), 80), "checkpoints outside  1\n"));
}

TEST(SummaryText, latency_that_a_clock_took_back_is_counted) {
  const auto summary = summary_of({report(7, 3, 0, 3).time_us(9), report(7, 3, 2, 3).time_us(8)});
  EXPECT_TRUE(has(summary_text(summary, 80), "latencies below zero  1\n"));
}

TEST(FigureText, times_are_seconds_with_all_microseconds) {
  EXPECT_EQ(seconds_text(0), "0.000000");
  EXPECT_EQ(seconds_text(1'000'250), "1.000250");
  EXPECT_EQ(seconds_text(UINT64_MAX), "18446744073709.551615");
  EXPECT_EQ(seconds_text(std::nullopt), "-");
}

TEST(FigureText, little_is_not_shown_as_nothing) {
  EXPECT_EQ(share_text(0.0001), "<0.1%");
  EXPECT_EQ(share_text(0), "0.0%");
  EXPECT_EQ(share_text(1), "100.0%");
  EXPECT_EQ(rate_text(0.04), "<0.1");
  EXPECT_EQ(rate_text(0.05), "0.1");
}

TEST(FigureText, largest_rate_stands_whole) { EXPECT_EQ(rate_text(18446744073709551616e6).size(), 28U); }

}  // namespace
}  // namespace hub::test
