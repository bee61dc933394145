// SPDX-License-Identifier: Apache-2.0
#include "host/figures/duration_histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace hub::test {
namespace {

using host::DurationFigures;
using host::DurationHistogram;

using Values = std::vector<std::uint64_t>;

DurationHistogram histogram_of(const Values& values) {
  DurationHistogram histogram;
  for (const std::uint64_t value : values) {
    histogram.add(value);
  }
  return histogram;
}

DurationFigures figures_of(const Values& values) { return *histogram_of(values).figures(); }

// From the definition alone: the smallest value that at least so many percent of all do not exceed.
std::uint64_t percentile_of(Values values, std::size_t percent) {
  std::sort(values.begin(), values.end());
  return *std::find_if(values.begin(), values.end(), [&](const std::uint64_t& value) {
    return static_cast<std::size_t>(&value - values.data() + 1) * 100 >= percent * values.size();
  });
}

void expect_near(std::uint64_t found, std::uint64_t wanted) {
  const double allowed = DurationHistogram::kRelativeError * static_cast<double>(wanted);
  EXPECT_LE(std::abs(static_cast<double>(found) - static_cast<double>(wanted)), allowed) << found << " for " << wanted;
}

void expect_figures_like_sorted_list(const Values& values) {
  const DurationFigures figures = figures_of(values);
  EXPECT_EQ(figures.count, values.size());
  EXPECT_EQ(figures.min, *std::min_element(values.begin(), values.end()));
  EXPECT_EQ(figures.max, *std::max_element(values.begin(), values.end()));
  expect_near(figures.p50, percentile_of(values, 50));
  expect_near(figures.p95, percentile_of(values, 95));
  expect_near(figures.p99, percentile_of(values, 99));
}

Values numbers_to(std::uint64_t last) {
  Values values;
  for (std::uint64_t value = 1; value <= last; ++value) {
    values.push_back(value);
  }
  return values;
}

TEST(DurationHistogram, without_a_value_has_no_figures) { EXPECT_FALSE(DurationHistogram().figures()); }

TEST(DurationHistogram, one_value_is_all_figures) {
  EXPECT_EQ(figures_of({7}), (DurationFigures{1, 7, 7, 7, 7, 7, 7, true}));
}

TEST(DurationHistogram, percentile_is_the_value_of_the_nearest_rank) {
  EXPECT_EQ(figures_of({40, 10, 30, 20}), (DurationFigures{4, 100, 10, 20, 40, 40, 40, true}));
  EXPECT_EQ(figures_of(numbers_to(200)), (DurationFigures{200, 20100, 1, 100, 190, 198, 200, true}));
}

TEST(DurationHistogram, is_exact_up_to_256_values_and_says_when_it_is_not) {
  Values values(256, 1'000'003);
  EXPECT_EQ(figures_of(values).p50, 1'000'003U);
  EXPECT_TRUE(figures_of(values).percentiles_exact);
  values.push_back(1);
  EXPECT_FALSE(figures_of(values).percentiles_exact);
  EXPECT_EQ(figures_of(values).sum, 256U * 1'000'003U + 1);
}

TEST(DurationHistogram, small_values_stay_exact_however_many_they_are) {
  Values values;
  for (int repetition = 0; repetition < 10; ++repetition) {
    const Values more = numbers_to(127);
    values.insert(values.end(), more.begin(), more.end());
  }
  const DurationFigures figures = figures_of(values);
  EXPECT_EQ(figures.p50, percentile_of(values, 50));
  EXPECT_EQ(figures.p95, percentile_of(values, 95));
  EXPECT_EQ(figures.p99, percentile_of(values, 99));
}

TEST(DurationHistogram, percentiles_of_many_values_are_within_one_percent_of_the_sorted_list) {
  std::mt19937_64 random(1);
  for (unsigned bits = 1; bits <= 64; ++bits) {
    Values values(1000);
    std::generate(values.begin(), values.end(), [&] { return random() >> (64 - bits); });
    SCOPED_TRACE(bits);
    expect_figures_like_sorted_list(values);
  }
}

TEST(DurationHistogram, every_bound_of_a_step_is_within_one_percent) {
  for (unsigned bit = 0; bit < 64; ++bit) {
    const std::uint64_t power = std::uint64_t{1} << bit;
    for (const std::uint64_t value : {power - 1, power, power + power / 64 - 1, power + power / 64}) {
      Values values(300, value);
      values.push_back(0);
      values.push_back(UINT64_MAX);
      SCOPED_TRACE(value);
      expect_near(figures_of(values).p50, value);
    }
  }
}

TEST(DurationHistogram, no_percentile_lies_outside_of_the_values) {
  const DurationFigures figures = figures_of(Values(1000, 1'000'000'007));
  EXPECT_EQ(figures.p50, 1'000'000'007U);
  EXPECT_EQ(figures.p99, 1'000'000'007U);
}

TEST(DurationHistogram, histograms_together_are_as_if_one_had_seen_all_values) {
  const Values few = numbers_to(200);
  const Values many = numbers_to(5000);
  for (const auto& [one, other] : {std::pair(few, few), std::pair(few, many), std::pair(many, few),
                                   std::pair(many, many), std::pair(Values(), many), std::pair(many, Values())}) {
    DurationHistogram together = histogram_of(one);
    together.add_all_of(histogram_of(other));
    Values all = one;
    all.insert(all.end(), other.begin(), other.end());
    EXPECT_EQ(together.figures(), histogram_of(all).figures());
  }
}

TEST(DurationHistogram, sum_stops_at_its_largest_value) {
  EXPECT_EQ(figures_of({UINT64_MAX, 1}).sum, UINT64_MAX);
  EXPECT_EQ(figures_of({UINT64_MAX - 1, 1}).sum, UINT64_MAX);
  EXPECT_EQ(figures_of({UINT64_MAX - 2, 1}).sum, UINT64_MAX - 1);
}

}  // namespace
}  // namespace hub::test
