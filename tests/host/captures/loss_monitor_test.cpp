// SPDX-License-Identifier: Apache-2.0
#include "host/captures/loss_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/report_builder.h"

namespace hub::host {

void PrintTo(const LossCounts& counts, std::ostream* stream) { *stream << '"' << loss_summary(counts) << '"'; }

}  // namespace hub::host

namespace hub::test {
namespace {

using host::loss_line;
using host::loss_summary;
using host::LossFinding;
using host::LossKind;
using host::LossMonitor;

using Counts = host::LossCounts;

constexpr std::uint32_t kReach = LossMonitor::kReach;

// A monitor that has what it finds written down.
class MonitoredRun {
 public:
  // Records as "number@time number@time ...".
  MonitoredRun& see(const std::string& records) {
    std::istringstream words(records);
    std::uint32_t number = 0;
    char at = 0;
    std::uint64_t time_us = 0;
    while (words >> number >> at >> time_us) {
      see(number, time_us);
    }
    EXPECT_TRUE(words.eof()) << records;
    return *this;
  }

  MonitoredRun& see(std::uint32_t number, std::uint64_t time_us) {
    monitor_.see(report(8, 3, 5, 0).sequence(number).time_us(time_us));
    return *this;
  }

  // So many records, one a microsecond.
  MonitoredRun& see_on_from(std::uint32_t number, std::uint64_t time_us, std::uint32_t count) {
    for (std::uint32_t done = 0; done < count; ++done) {
      see(number + done, time_us + done);
    }
    return *this;
  }

  MonitoredRun& finish() {
    monitor_.finish();
    return *this;
  }

  // What was told since the last call, a line each.
  std::string told() {
    std::string lines;
    for (const LossFinding& finding : std::exchange(findings_, {})) {
      lines += loss_line(finding) + "\n";
    }
    return lines;
  }

  [[nodiscard]] const std::vector<LossFinding>& findings() const { return findings_; }
  [[nodiscard]] const Counts& counts() const { return monitor_.counts(); }
  [[nodiscard]] std::string summary() const { return loss_summary(counts()); }

 private:
  std::vector<LossFinding> findings_;
  LossMonitor monitor_{[this](const LossFinding& finding) { findings_.push_back(finding); }};
};

// What is told about a whole run.
std::string told_about(const std::string& records) { return MonitoredRun().see(records).finish().told(); }

std::string summary_of(const std::string& records) { return MonitoredRun().see(records).finish().summary(); }

TEST(LossMonitorTest, numbers_in_a_row_are_nothing_to_tell) {
  EXPECT_EQ(told_about(""), "");
  EXPECT_EQ(told_about("4711@10"), "");
  EXPECT_EQ(told_about("4711@10 4712@20 4713@20"), "");
  EXPECT_EQ(summary_of("4711@10 4712@20 4713@20"), "");
}

TEST(LossMonitorTest, gap_is_told_with_its_numbers_and_the_times_around_it) {
  EXPECT_EQ(told_about("40@812000 58@813500"),
            "record 1: gap: 17 records missing, sequence_num 41 to 57, between 812000 us and 813500 us\n");
  EXPECT_EQ(told_about("40@10 41@20 43@40 44@50"),
            "record 2: gap: 1 record missing, sequence_num 42, between 20 us and 40 us\n");
}

TEST(LossMonitorTest, finding_of_a_gap_carries_its_numbers) {
  MonitoredRun run;
  run.see("40@10 58@30").finish();
  EXPECT_EQ(run.findings(), (std::vector<LossFinding>{{LossKind::kGap, 1, 41, 58, 10, 30, 17}}));
}

TEST(LossMonitorTest, gap_is_counted_at_once_and_told_when_it_is_final) {
  MonitoredRun run;
  run.see("0@0 3@3");
  EXPECT_EQ(run.told(), "");
  EXPECT_EQ(run.summary(), "1 gap (2 records missing)");
  EXPECT_EQ(run.finish().told(), "record 1: gap: 2 records missing, sequence_num 1 to 2, between 0 us and 3 us\n");
  EXPECT_EQ(run.summary(), "1 gap (2 records missing)");
}

TEST(LossMonitorTest, gap_is_final_when_the_reach_has_come_behind_it) {
  MonitoredRun run;
  run.see("0@0").see_on_from(2, 2, kReach);
  EXPECT_EQ(run.told(), "");
  run.see(2 + kReach, 2 + kReach);
  EXPECT_EQ(run.told(), "record 1: gap: 1 record missing, sequence_num 1, between 0 us and 2 us\n");
}

TEST(LossMonitorTest, gap_that_is_filled_up_is_none) {
  const std::string records = "0@0 4@4 1@1 3@3 2@2 5@5";
  EXPECT_EQ(summary_of(records), "3 records out of order");
  EXPECT_EQ(told_about(records),
            "record 2: out of order: sequence_num 1 at 1 us behind 4 at 4 us\n"
            "record 3: out of order: sequence_num 3 at 3 us behind 4 at 4 us\n"
            "record 4: out of order: sequence_num 2 at 2 us behind 4 at 4 us\n");
}

TEST(LossMonitorTest, late_record_shrinks_the_gap_from_either_side) {
  EXPECT_EQ(told_about("0@0 5@5 1@1 6@6"),
            "record 2: out of order: sequence_num 1 at 1 us behind 5 at 5 us\n"
            "record 1: gap: 3 records missing, sequence_num 2 to 4, between 1 us and 5 us\n");
  EXPECT_EQ(told_about("0@0 5@5 4@4 6@6"),
            "record 2: out of order: sequence_num 4 at 4 us behind 5 at 5 us\n"
            "record 1: gap: 3 records missing, sequence_num 1 to 3, between 0 us and 4 us\n");
}

TEST(LossMonitorTest, late_record_in_the_middle_splits_the_gap) {
  const std::string records = "0@0 6@6 3@3 7@7";
  EXPECT_EQ(summary_of(records), "2 gaps (4 records missing), 1 record out of order");
  EXPECT_EQ(told_about(records),
            "record 2: out of order: sequence_num 3 at 3 us behind 6 at 6 us\n"
            "record 1: gap: 2 records missing, sequence_num 1 to 2, between 0 us and 3 us\n"
            "record 1: gap: 2 records missing, sequence_num 4 to 5, between 3 us and 6 us\n");
}

TEST(LossMonitorTest, older_gap_is_filled_behind_a_younger_one) {
  EXPECT_EQ(told_about("0@0 2@2 4@4 1@1 5@5"),
            "record 3: out of order: sequence_num 1 at 1 us behind 4 at 4 us\n"
            "record 2: gap: 1 record missing, sequence_num 3, between 2 us and 4 us\n");
}

TEST(LossMonitorTest, number_that_was_there_at_the_same_time_is_a_duplicate) {
  EXPECT_EQ(told_about("0@0 1@1 1@1 0@0 2@2"),
            "record 2: duplicate: sequence_num 1 at 1 us was there before\n"
            "record 3: duplicate: sequence_num 0 at 0 us was there before\n");
}

TEST(LossMonitorTest, first_record_again_is_a_duplicate) {
  EXPECT_EQ(told_about("0@0 0@0 1@1"), "record 1: duplicate: sequence_num 0 at 0 us was there before\n");
}

TEST(LossMonitorTest, payload_makes_no_difference_to_a_duplicate) {
  LossMonitor monitor;
  monitor.see(report(8, 3, 5, 0).sequence(7).time_us(70));
  monitor.see(report(8, 3, 5, 0).sequence(7).time_us(70).count_up());
  EXPECT_EQ(monitor.counts(), Counts{.duplicates = 1});
}

TEST(LossMonitorTest, duplicates_of_the_neighbours_of_a_gap_leave_it) {
  EXPECT_EQ(summary_of("0@0 3@3 3@3 0@0 4@4"), "1 gap (2 records missing), 2 duplicates");
}

TEST(LossMonitorTest, late_record_that_comes_twice_is_out_of_order_and_a_duplicate) {
  EXPECT_EQ(summary_of("0@0 2@2 1@1 1@1 3@3"), "1 duplicate, 1 record out of order");
}

TEST(LossMonitorTest, duplicate_is_known_as_far_as_the_reach) {
  EXPECT_EQ(MonitoredRun().see_on_from(0, 0, kReach).see("0@0").see(kReach, kReach).finish().summary(), "1 duplicate");
}

TEST(LossMonitorTest, late_record_is_remembered_as_far_as_the_reach) {
  EXPECT_EQ(MonitoredRun().see("0@0").see_on_from(2, 2, kReach - 1).see("1@1 1@1").finish().summary(),
            "1 duplicate, 1 record out of order");
}

TEST(LossMonitorTest, record_beyond_the_reach_does_not_displace_what_is_remembered) {
  MonitoredRun run;
  run.see_on_from(0, 0, kReach + 1).see("0@0").see(kReach + 1, kReach + 1).see(kReach, kReach);
  EXPECT_EQ(run.finish().summary(), "1 duplicate, 1 record out of order");
}

TEST(LossMonitorTest, record_beyond_the_reach_is_is_out_of_order_when_the_next_one_goes_on) {
  EXPECT_EQ(MonitoredRun().see_on_from(0, 0, kReach + 1).see("0@0").see(kReach + 1, kReach + 1).finish().summary(),
            "1 record out of order");
}

TEST(LossMonitorTest, record_from_before_the_first_is_out_of_order_when_the_next_one_goes_on) {
  EXPECT_EQ(told_about("8@8 7@7 9@9"), "record 1: out of order: sequence_num 7 at 7 us behind 8 at 8 us\n");
}

TEST(LossMonitorTest, record_before_the_first_that_comes_again_later_is_a_duplicate) {
  EXPECT_EQ(summary_of("8@8 7@7 9@9 7@7 10@10"), "1 duplicate, 1 record out of order");
}

TEST(LossMonitorTest, time_that_goes_back_while_the_number_goes_on_is_told) {
  EXPECT_EQ(told_about("0@100 1@90 2@95"), "record 1: clock backwards: from 100 us to 90 us, sequence_num 1\n");
}

TEST(LossMonitorTest, time_that_goes_back_over_a_gap_is_told_and_the_gap_is_counted) {
  EXPECT_EQ(told_about("0@100 2@90 3@95"),
            "record 1: clock backwards: from 100 us to 90 us, sequence_num 2\n"
            "record 1: gap: 1 record missing, sequence_num 1, between 100 us and 90 us\n");
}

TEST(LossMonitorTest, gap_over_which_the_time_goes_back_is_filled_at_any_time) {
  EXPECT_EQ(summary_of("0@100 2@90 1@101"), "1 record out of order, 1 step of the clock backwards");
  EXPECT_EQ(summary_of("0@100 2@90 1@89"), "1 record out of order, 1 step of the clock backwards");
}

TEST(LossMonitorTest, older_time_of_a_late_or_duplicate_record_is_no_step_of_the_clock) {
  EXPECT_EQ(summary_of("0@0 2@20 1@10 0@0 3@30"), "1 duplicate, 1 record out of order");
}

TEST(LossMonitorTest, late_record_at_a_time_outside_its_gap_fills_it_when_the_next_one_goes_on) {
  EXPECT_EQ(summary_of("0@10 2@20 1@21 3@30"), "1 record out of order");
  EXPECT_EQ(summary_of("0@10 2@20 1@9 3@30"), "1 record out of order");
}

TEST(LossMonitorTest, restart_after_few_records_is_told_and_sets_what_is_expected) {
  EXPECT_EQ(told_about("0@1000 1@2000 2@3000 0@900 1@1900 2@2900"),
            "record 3: restart: sequence_num 0 at 900 us behind 2 at 3000 us\n");
  EXPECT_EQ(told_about("0@1000 1@2000 2@3000 1@900 2@1900"),
            "record 3: restart: sequence_num 1 at 900 us behind 2 at 3000 us\n");
}

TEST(LossMonitorTest, restart_to_numbers_from_before_the_first_is_told) {
  EXPECT_EQ(told_about("5@1000 6@2000 0@900 1@1900"),
            "record 2: restart: sequence_num 0 at 900 us behind 6 at 2000 us\n");
  EXPECT_EQ(told_about("1@1000 2@2000 0@900 1@1900"),
            "record 2: restart: sequence_num 0 at 900 us behind 2 at 2000 us\n");
}

TEST(LossMonitorTest, restart_after_many_records_is_told) {
  MonitoredRun run;
  run.see_on_from(0, 1000, 3 * kReach).see("0@1 1@2");
  EXPECT_EQ(run.finish().summary(), "1 restart");
}

TEST(LossMonitorTest, restart_while_the_clock_goes_on_is_told) {
  EXPECT_EQ(summary_of("0@10 1@20 2@30 0@40 1@50 2@60 3@70"), "1 restart");
  EXPECT_EQ(MonitoredRun().see_on_from(0, 0, 3 * kReach).see_on_from(0, 5000, 9).finish().summary(), "1 restart");
}

TEST(LossMonitorTest, restart_with_the_last_record_is_told_at_the_end) {
  MonitoredRun run;
  run.see("5@1000 6@2000 0@900");
  EXPECT_EQ(run.told(), "");
  EXPECT_EQ(run.finish().told(), "record 2: restart: sequence_num 0 at 900 us behind 6 at 2000 us\n");
}

TEST(LossMonitorTest, each_of_several_restarts_is_told) {
  EXPECT_EQ(summary_of("0@10 1@20 0@5 1@15 0@7 1@17"), "2 restarts");
}

TEST(LossMonitorTest, loss_directly_behind_a_restart_is_a_gap) {
  EXPECT_EQ(told_about("0@1000 1@2000 2@3000 3@4000 0@900 3@1900 4@2900"),
            "record 4: restart: sequence_num 0 at 900 us behind 3 at 4000 us\n"
            "record 5: gap: 2 records missing, sequence_num 1 to 2, between 900 us and 1900 us\n");
  EXPECT_EQ(summary_of("90@1000 91@2000 0@900 3@1900 4@2900"), "1 gap (2 records missing), 1 restart");
}

TEST(LossMonitorTest, restart_into_an_open_gap_is_told_by_its_times) {
  EXPECT_EQ(summary_of("0@1000 5@1500 6@1600 1@20 2@30 3@40"), "1 gap (4 records missing), 1 restart");
  EXPECT_EQ(summary_of("0@1000 5@1500 6@1600 1@3000 2@3100 3@3200"), "1 gap (4 records missing), 1 restart");
}

TEST(LossMonitorTest, gaps_are_final_at_a_restart_and_told_before_it) {
  EXPECT_EQ(told_about("0@1000 2@2000 4@4000 0@900 1@901"),
            "record 1: gap: 1 record missing, sequence_num 1, between 1000 us and 2000 us\n"
            "record 2: gap: 1 record missing, sequence_num 3, between 2000 us and 4000 us\n"
            "record 3: restart: sequence_num 0 at 900 us behind 4 at 4000 us\n");
}

TEST(LossMonitorTest, what_was_seen_before_a_restart_is_no_duplicate_behind_it) {
  EXPECT_EQ(summary_of("0@0 1@10 2@20 0@5 1@10 2@20"), "1 restart");
}

TEST(LossMonitorTest, number_that_stands_still_while_the_clock_goes_on_is_a_restart_each_time) {
  EXPECT_EQ(summary_of("7@10 7@20 7@30"), "2 restarts");
}

TEST(LossMonitorTest, leap_ahead_beyond_the_reach_with_an_older_time_is_a_restart) {
  EXPECT_EQ(summary_of("3000000000@5000 3000000001@6000 0@10 1@20"), "1 restart");
  EXPECT_EQ(MonitoredRun().see(10, 500).see(11 + kReach + 1, 400).finish().summary(), "1 restart");
  EXPECT_EQ(MonitoredRun().see(10, 500).see(11 + kReach, 400).finish().summary(),
            "1 gap (1024 records missing), 1 step of the clock backwards");
}

TEST(LossMonitorTest, number_wraps_to_zero_without_a_word) {
  EXPECT_EQ(told_about("4294967294@10 4294967295@20 0@30 1@40"), "");
}

TEST(LossMonitorTest, gap_and_late_record_and_duplicate_around_the_wrap_are_told) {
  EXPECT_EQ(told_about("4294967293@1 2@6 0@4 4294967293@1 3@7"),
            "record 2: out of order: sequence_num 0 at 4 us behind 2 at 6 us\n"
            "record 3: duplicate: sequence_num 4294967293 at 1 us was there before\n"
            "record 1: gap: 2 records missing, sequence_num 4294967294 to 4294967295, between 1 us and 4 us\n"
            "record 1: gap: 1 record missing, sequence_num 1, between 4 us and 6 us\n");
}

TEST(LossMonitorTest, less_than_half_of_the_numbers_ahead_is_a_gap_and_half_of_them_is_behind) {
  EXPECT_EQ(summary_of("0@0 2147483648@9"), "1 gap (2147483647 records missing)");
  EXPECT_EQ(summary_of("0@0 2147483649@9"), "1 restart");
}

TEST(LossMonitorTest, first_number_of_the_largest_gap_fills_it) {
  MonitoredRun run;
  run.see(0, 0).see_on_from(2147483648U, 100, 10).see(1, 50).see(2147483658U, 200);
  EXPECT_EQ(run.summary(), "1 gap (2147483646 records missing), 1 record out of order");
}

TEST(LossMonitorTest, one_wrong_number_far_ahead_does_not_put_all_that_follow_out_of_order) {
  EXPECT_EQ(summary_of("10@10 11@11 1000000@12 13@13 14@14 15@15"), "1 gap (999988 records missing), 1 restart");
}

TEST(LossMonitorTest, one_wrong_number_far_behind_is_out_of_order_and_no_restart) {
  EXPECT_EQ(summary_of("4000000@10 4000001@11 17@12 4000003@13 4000004@14"),
            "1 gap (1 record missing), 1 record out of order");
}

class OpenGapsTest : public ::testing::Test {
 protected:
  // Every second number, so that as many gaps are open.
  MonitoredRun& see_gaps(std::uint32_t count) {
    for (std::uint32_t number = 0; number <= 2 * count; number += 2) {
      run_.see(number, number);
    }
    return run_;
  }

  MonitoredRun run_;
};

TEST_F(OpenGapsTest, as_many_as_are_remembered_can_all_be_filled) {
  see_gaps(LossMonitor::kOpenGaps);
  EXPECT_EQ(run_.told(), "");
  for (std::uint32_t number = 1; number < 2 * LossMonitor::kOpenGaps; number += 2) {
    run_.see(number, number);
  }
  EXPECT_EQ(run_.finish().summary(), "64 records out of order");
}

TEST_F(OpenGapsTest, one_more_makes_the_oldest_final) {
  see_gaps(LossMonitor::kOpenGaps + 1);
  EXPECT_EQ(run_.told(), "record 1: gap: 1 record missing, sequence_num 1, between 0 us and 2 us\n");
}

TEST_F(OpenGapsTest, one_more_by_a_split_makes_the_oldest_final) {
  see_gaps(LossMonitor::kOpenGaps - 1).see("130@130 128@128");
  EXPECT_EQ(run_.told(),
            "record 65: out of order: sequence_num 128 at 128 us behind 130 at 130 us\n"
            "record 1: gap: 1 record missing, sequence_num 1, between 0 us and 2 us\n");
}

TEST_F(OpenGapsTest, record_of_a_final_gap_is_out_of_order_and_the_gap_stays) {
  see_gaps(LossMonitor::kOpenGaps + 1).see("1@1 131@131").finish();
  EXPECT_EQ(run_.summary(), "65 gaps (65 records missing), 1 record out of order");
}

TEST(LossMonitorTest, without_a_listener_all_is_counted) {
  LossMonitor monitor;
  for (const std::uint32_t number : {0U, 5U, 2U, 2U, 6U, 100000U}) {
    monitor.see(report(8, 3, 5, 0).sequence(number).time_us(number));
  }
  monitor.see(report(8, 3, 5, 0).sequence(0).time_us(1));
  monitor.finish();
  EXPECT_EQ(loss_summary(monitor.counts()),
            "3 gaps (99996 records missing), 1 duplicate, 1 record out of order, 1 restart");
}

TEST(LossSummaryTest, nothing_wrong_is_an_empty_line) { EXPECT_EQ(loss_summary({}), ""); }

TEST(LossSummaryTest, every_count_has_its_words_in_singular_and_plural) {
  EXPECT_EQ(loss_summary({1, 1, 1, 1, 1, 1}),
            "1 gap (1 record missing), 1 duplicate, 1 record out of order, 1 step of the clock backwards, 1 restart");
  EXPECT_EQ(loss_summary({3, 17, 2, 4, 5, 6}),
            "3 gaps (17 records missing), 2 duplicates, 4 records out of order, 5 steps of the clock backwards, "
            "6 restarts");
}

// What a run counts to for somebody who remembers all of it and knows the numbers before they wrapped.
class Reference {
 public:
  void see(std::uint64_t true_number) {
    if (!seen_.insert(true_number).second) {
      ++counts_.duplicates;
    } else if (true_number < *seen_.rbegin()) {
      ++counts_.reordered;
    }
  }

  // First missing number and how many, of every gap.
  [[nodiscard]] std::vector<std::pair<std::uint32_t, std::uint32_t>> gaps() const {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> found;
    std::uint64_t next = *seen_.begin();
    for (const std::uint64_t number : seen_) {
      if (number != next) {
        found.emplace_back(static_cast<std::uint32_t>(next), static_cast<std::uint32_t>(number - next));
      }
      next = number + 1;
    }
    return found;
  }

  [[nodiscard]] Counts counts() const {
    Counts all = counts_;
    for (const auto& [first, size] : gaps()) {
      ++all.gaps;
      all.missing_records += size;
    }
    return all;
  }

 private:
  std::set<std::uint64_t> seen_;
  Counts counts_;
};

// A life of the co-processor as it arrives: numbers in a row, some of them lost, late or there twice.
class DisturbedLife {
 public:
  explicit DisturbedLife(std::mt19937& random) : random_(random) {
    std::uint64_t number = std::uniform_int_distribution<std::uint64_t>(0, 0xFFFFFFFF)(random_);
    for (int count = 0; count < 2000; ++count) {
      number += one_in(40) ? below(20) + 1 : 1;
      numbers_.push_back(number);
    }
    for (std::size_t at = kQuiet; at + kFarthest + kQuiet < numbers_.size(); ++at) {
      disturb(at);
    }
  }

  [[nodiscard]] const std::vector<std::uint64_t>& numbers() const { return numbers_; }

 private:
  static constexpr std::size_t kQuiet = 3;  // records at the start and the end that are left in order
  static constexpr std::size_t kFarthest = 30;

  std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }
  bool one_in(std::size_t count) { return below(count) == 0; }

  void disturb(std::size_t at) {
    const auto here = numbers_.begin() + static_cast<std::ptrdiff_t>(at);
    const auto there = here + static_cast<std::ptrdiff_t>(below(kFarthest) + 1);
    if (one_in(50)) {
      std::swap(*here, *there);
    } else if (one_in(50)) {
      numbers_.insert(there, *here);
    } else if (one_in(50)) {
      std::rotate(here, here + 1, there);
    }
  }

  std::mt19937& random_;
  std::vector<std::uint64_t> numbers_;
};

Counts& operator+=(Counts& sum, const Counts& more) {
  sum.gaps += more.gaps;
  sum.missing_records += more.missing_records;
  sum.duplicates += more.duplicates;
  sum.reordered += more.reordered;
  return sum;
}

TEST(LossMonitorTest, disturbed_lives_count_as_for_somebody_who_remembers_everything) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    std::mt19937 random(seed);
    MonitoredRun run;
    Counts expected{.restarts = 4};
    std::vector<std::pair<std::uint32_t, std::uint32_t>> expected_gaps;
    for (int life = 0; life < 5; ++life) {
      const DisturbedLife disturbed(random);
      const std::uint64_t lowest = *std::min_element(disturbed.numbers().begin(), disturbed.numbers().end());
      Reference reference;
      for (const std::uint64_t number : disturbed.numbers()) {
        reference.see(number);
        run.see(static_cast<std::uint32_t>(number), 100 + 10 * (number - lowest));
      }
      expected += reference.counts();
      const auto gaps = reference.gaps();
      expected_gaps.insert(expected_gaps.end(), gaps.begin(), gaps.end());
    }
    EXPECT_EQ(run.finish().counts(), expected) << seed;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> told_gaps;
    for (const LossFinding& finding : run.findings()) {
      if (finding.kind == LossKind::kGap) {
        told_gaps.emplace_back(finding.expected_sequence_num, finding.missing_records);
      }
    }
    EXPECT_EQ(told_gaps, expected_gaps) << seed;
  }
}

// A number of a random disturbance is told as often as it is counted, whatever comes.
TEST(LossMonitorTest, any_numbers_at_any_times_are_told_as_often_as_they_are_counted) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    MonitoredRun run;
    for (int count = 0; count < 500; ++count) {
      const unsigned bits = random() % 32;
      run.see(static_cast<std::uint32_t>(random()) >> bits, random() % 50);
    }
    run.finish();
    std::map<LossKind, std::uint64_t> told;
    std::uint64_t missing_records = 0;
    for (const LossFinding& finding : run.findings()) {
      ++told[finding.kind];
      missing_records += finding.missing_records;
    }
    const Counts as_told{told[LossKind::kGap],
                         missing_records,
                         told[LossKind::kDuplicate],
                         told[LossKind::kReordered],
                         told[LossKind::kClockBackwards],
                         told[LossKind::kRestart]};
    EXPECT_EQ(run.counts(), as_told) << seed;
  }
}

}  // namespace
}  // namespace hub::test
