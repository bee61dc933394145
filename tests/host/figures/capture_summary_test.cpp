// SPDX-License-Identifier: Apache-2.0
#include "host/figures/capture_summary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

class CaptureSummaryTest : public ::testing::Test {
 protected:
  void see_function(std::uint64_t function_id, std::uint64_t duration, std::uint64_t thread_duration = 0) {
    summary_.see(report(0, 1, 0, 5).u32(0, function_id).u32(12, duration).u32(20, thread_duration));
  }
  void see_named_function(std::string_view name, std::uint64_t duration) {
    summary_.see(report(0, 4, 0, 9).text(16, name).u32(8, duration));
  }
  // The count of each group, by the names of its ids.
  std::vector<std::string> counts(Level level) const {
    std::vector<std::string> lines;
    for (const auto& row : summary_.groups(level).rows_by([](const RecordFigures& figures) { return figures.count; })) {
      std::string line;
      for (const NamedId& id : ids_of(row.key, level)) {
        line += id.name + " ";
      }
      lines.push_back(line + std::to_string(row.figures->count));
    }
    return lines;
  }
  std::vector<std::string> functions() const {
    std::vector<std::string> lines;
    for (const auto& row :
         summary_.functions().rows_by([](const FunctionFigures& figures) { return figures.durations.sum(); })) {
      const std::string name = row.key.has_name() ? std::string(row.key.name_text()) : std::to_string(row.key.number);
      lines.push_back(std::string(row.key.layout_name()) + " " + name + " " +
                      std::to_string(row.figures->durations.sum()) +
                      (row.figures->thread_total ? " " + std::to_string(*row.figures->thread_total) : ""));
    }
    return lines;
  }

  CaptureSummary summary_;
};

using Lines = std::vector<std::string>;

TEST_F(CaptureSummaryTest, without_a_record_nothing_is_known) {
  EXPECT_EQ(summary_.records().count, 0U);
  EXPECT_EQ(summary_.span_us(), std::nullopt);
  EXPECT_EQ(summary_.per_second(0), std::nullopt);
  EXPECT_EQ(summary_.share_of(0), std::nullopt);
}

TEST_F(CaptureSummaryTest, records_are_counted_on_each_level_the_most_frequent_first) {
  for (const unsigned event : {7U, 7U, 5U}) {
    summary_.see(report(7, 3, event, 3));
  }
  summary_.see(report(7, 0, 0, 3));
  summary_.see(report(40, 1, 2, 3));
  EXPECT_EQ(counts(Level::kCategory), (Lines{"sshb 4", "40 1"}));
  EXPECT_EQ(counts(Level::kComponent), (Lines{"sshb latency 3", "sshb sshb 1", "40 1 1"}));
  EXPECT_EQ(counts(Level::kEvent), (Lines{"sshb latency ckp_VossaPlayAsset 2", "sshb sshb trace 1",
                                          "sshb latency ckp_VossaStartHaptics 1", "40 1 2 1"}));
  EXPECT_EQ(summary_.size_bytes(), 5U * 48);
}

TEST_F(CaptureSummaryTest, first_and_last_are_the_bounds_of_all_times_in_any_order) {
  for (const std::uint64_t time_us : {500U, 2'000'400U, 400U, 900U}) {
    summary_.see(report(1, 2, 3, 3).time_us(time_us));
  }
  EXPECT_EQ(summary_.records().first_us, 400U);
  EXPECT_EQ(summary_.records().last_us, 2'000'400U);
  EXPECT_EQ(summary_.span_us(), 2'000'000U);
  EXPECT_EQ(summary_.per_second(4), 2.0);
  EXPECT_EQ(summary_.share_of(1), 0.25);
}

TEST_F(CaptureSummaryTest, rate_is_unknown_when_all_records_have_one_time) {
  summary_.see(report(1, 2, 3, 3).time_us(5));
  summary_.see(report(1, 2, 3, 3).time_us(5));
  EXPECT_EQ(summary_.span_us(), 0U);
  EXPECT_EQ(summary_.per_second(2), std::nullopt);
}

TEST_F(CaptureSummaryTest, span_covers_all_times_that_a_clock_can_have) {
  summary_.see(report(1, 2, 3, 3).time_us(0));
  summary_.see(report(1, 2, 3, 3).time_us(UINT64_MAX));
  EXPECT_EQ(summary_.span_us(), UINT64_MAX);
}

TEST_F(CaptureSummaryTest, functions_stand_by_their_total_duration) {
  see_function(17, 100, 90);
  see_function(31, 70, 60);
  see_function(31, 70, 5);
  see_named_function("hub_boot", 120);
  EXPECT_EQ(functions(), (Lines{"function 31 140 65", "extfunction hub_boot 120", "function 17 100 90"}));
}

TEST_F(CaptureSummaryTest, name_and_number_of_functions_are_told_apart) {
  see_function(0, 5);
  see_named_function("", 5);
  see_named_function("0", 5);
  see_named_function("sixteen_letters_", 5);
  EXPECT_EQ(functions(),
            (Lines{"function 0 5 0", "extfunction  5", "extfunction 0 5", "extfunction sixteen_letters_ 5"}));
}

TEST_F(CaptureSummaryTest, durations_of_an_event_are_those_of_all_its_functions) {
  see_function(17, 100);
  see_function(31, 300);
  const auto rows =
      summary_.event_durations().rows_by([](const DurationHistogram& durations) { return durations.sum(); });
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(ids_of(rows[0].key, Level::kEvent)[1].name, "function");
  EXPECT_EQ(rows[0].figures->figures(), (DurationFigures{2, 400, 100, 100, 300, 300, 300, true}));
}

TEST_F(CaptureSummaryTest, record_without_a_duration_has_none) {
  summary_.see(report(0, 1, 0, 3).count_up());
  EXPECT_TRUE(summary_.event_durations().rows_by([](const DurationHistogram&) { return 0; }).empty());
  EXPECT_TRUE(functions().empty());
}

TEST_F(CaptureSummaryTest, functions_behind_the_first_1024_are_counted_together) {
  for (std::uint64_t function_id = 0; function_id < 2000; ++function_id) {
    see_function(function_id, function_id);
  }
  see_function(0, 7);
  EXPECT_EQ(functions().size(), 1024U);
  const auto others = summary_.functions().others();
  ASSERT_NE(others, nullptr);
  EXPECT_EQ(others->durations.count(), 976U);
  EXPECT_EQ(others->durations.figures()->min, 1024U);
  EXPECT_EQ(others->durations.figures()->max, 1999U);
}

TEST_F(CaptureSummaryTest, events_behind_the_first_1024_are_counted_together) {
  for (unsigned id = 0; id < 65536; ++id) {
    summary_.see(report(id >> 8U, 0, id & 0xFFU, 3).time_us(id));
  }
  EXPECT_EQ(counts(Level::kCategory).size(), 256U);
  EXPECT_EQ(summary_.groups(Level::kCategory).others(), nullptr);
  EXPECT_EQ(counts(Level::kEvent).size(), 1024U);
  EXPECT_EQ(summary_.groups(Level::kEvent).others()->count, 65536U - 1024);
  EXPECT_EQ(summary_.groups(Level::kEvent).others()->first_us, 1024U);
}

TEST_F(CaptureSummaryTest, checkpoints_make_presses) {
  summary_.see(report(7, 3, 0, 3).time_us(1));
  summary_.see(report(7, 3, 2, 3).time_us(4));
  EXPECT_EQ(summary_.presses().latency(0).figures()->max, 3U);
}

}  // namespace
}  // namespace hub::test
