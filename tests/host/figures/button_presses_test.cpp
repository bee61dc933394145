// SPDX-License-Identifier: Apache-2.0
#include "host/figures/button_presses.h"

#include <gtest/gtest.h>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

constexpr unsigned kFingerOn = 0;
constexpr unsigned kFingerOff = 1;
constexpr unsigned kButtonDown = 2;
constexpr unsigned kButtonUp = 3;
constexpr unsigned kHapticsStart = 5;
constexpr unsigned kAssetPlay = 7;

struct Seen {
  unsigned event;
  std::uint64_t time_us;
};

class ButtonPressesTest : public ::testing::Test {
 protected:
  void see(std::initializer_list<Seen> checkpoints) {
    for (const Seen& seen : checkpoints) {
      presses_.see(report(7, 3, seen.event, 3).time_us(seen.time_us));
    }
  }
  void see_press(std::uint64_t begin_us, std::uint64_t wait_us) {
    see({{kFingerOn, begin_us},
         {kButtonDown, begin_us},
         {kHapticsStart, begin_us},
         {kAssetPlay, begin_us + wait_us},
         {kFingerOff, begin_us + wait_us}});
  }
  // The median of a latency, by its row.
  std::optional<std::uint64_t> latency(std::size_t row) const {
    const auto figures = presses_.latency(row).figures();
    return figures ? std::optional(figures->p50) : std::nullopt;
  }
  std::vector<std::uint64_t> kept_numbers() const {
    std::vector<std::uint64_t> numbers;
    for (const ButtonPress& press : presses_.kept()) {
      numbers.push_back(press.number);
    }
    return numbers;
  }

  ButtonPresses presses_;
};

TEST_F(ButtonPressesTest, latencies_lie_between_their_checkpoints) {
  see({{kFingerOn, 1000},
       {kButtonDown, 1010},
       {kHapticsStart, 1100},
       {kAssetPlay, 2000},
       {kButtonUp, 2100},
       {kFingerOff, 3000}});
  EXPECT_EQ(latency(0), 10U);
  EXPECT_EQ(latency(1), 100U);
  EXPECT_EQ(latency(2), 1000U);
  EXPECT_EQ(latency(3), 990U);
  EXPECT_EQ(presses_.count(), 1U);
  EXPECT_EQ(presses_.count(PressOutcome::kComplete), 1U);
  EXPECT_EQ(presses_.kept()[0].time_us(Checkpoint::kButtonUp), 2100U);
}

TEST_F(ButtonPressesTest, outcome_tells_how_far_a_press_came) {
  see({{kFingerOn, 1}, {kFingerOff, 2}});
  see({{kFingerOn, 1}, {kButtonDown, 2}, {kFingerOff, 3}});
  see({{kFingerOn, 1}, {kButtonDown, 2}, {kHapticsStart, 3}, {kFingerOff, 4}});
  EXPECT_EQ(presses_.count(PressOutcome::kNoButton), 1U);
  EXPECT_EQ(presses_.count(PressOutcome::kNoHaptics), 1U);
  EXPECT_EQ(presses_.count(PressOutcome::kNoAsset), 1U);
  EXPECT_EQ(presses_.count(PressOutcome::kComplete), 0U);
}

TEST_F(ButtonPressesTest, press_without_a_finger_begins_when_the_button_goes_down) {
  see({{kButtonDown, 50}, {kAssetPlay, 80}});
  EXPECT_EQ(presses_.count(), 1U);
  EXPECT_EQ(latency(2), std::nullopt);
  EXPECT_EQ(latency(3), 30U);
  EXPECT_EQ(presses_.kept()[0].wait_us(), 30U);
}

TEST_F(ButtonPressesTest, second_click_of_a_finger_is_a_press_of_its_own) {
  see({{kFingerOn, 0}, {kButtonDown, 10}, {kButtonUp, 20}, {kButtonDown, 30}, {kAssetPlay, 40}, {kFingerOff, 50}});
  EXPECT_EQ(presses_.count(), 2U);
  EXPECT_EQ(presses_.count(PressOutcome::kNoHaptics), 1U);
  EXPECT_EQ(presses_.kept()[1].time_us(Checkpoint::kFingerOn), std::nullopt);
  EXPECT_EQ(latency(3), 10U);
}

TEST_F(ButtonPressesTest, finger_whose_going_was_lost_ends_where_the_next_one_comes) {
  see({{kFingerOn, 0}, {kButtonDown, 10}, {kFingerOn, 100}, {kButtonDown, 130}});
  EXPECT_EQ(presses_.count(), 2U);
  EXPECT_EQ(presses_.latency(0).count(), 2U);
  EXPECT_EQ(presses_.kept()[0].time_us(Checkpoint::kFingerOff), std::nullopt);
}

TEST_F(ButtonPressesTest, press_that_is_not_over_is_counted_and_kept) {
  see({{kFingerOn, 5}});
  EXPECT_EQ(presses_.count(PressOutcome::kNoButton), 1U);
  EXPECT_EQ(kept_numbers(), (std::vector<std::uint64_t>{1}));
}

TEST_F(ButtonPressesTest, checkpoints_outside_of_a_press_are_strays) {
  see({{kAssetPlay, 1}, {kFingerOff, 2}, {kFingerOn, 3}, {kFingerOff, 4}, {kButtonUp, 5}});
  EXPECT_EQ(presses_.stray_checkpoints(), 3U);
  EXPECT_EQ(presses_.count(), 1U);
}

TEST_F(ButtonPressesTest, first_of_a_kind_counts) {
  see({{kFingerOn, 0}, {kButtonDown, 10}, {kAssetPlay, 20}, {kAssetPlay, 90}});
  EXPECT_EQ(latency(2), 20U);
  EXPECT_EQ(presses_.latency(2).count(), 1U);
}

TEST_F(ButtonPressesTest, clock_that_goes_backwards_gives_no_latency) {
  see({{kFingerOn, 100}, {kButtonDown, 90}, {kAssetPlay, 95}});
  EXPECT_EQ(latency(0), std::nullopt);
  EXPECT_EQ(latency(2), std::nullopt);
  EXPECT_EQ(latency(3), 5U);
  EXPECT_EQ(presses_.backward_latencies(), 2U);
  EXPECT_EQ(presses_.kept()[0].wait_us(), std::nullopt);
}

TEST_F(ButtonPressesTest, records_in_another_order_give_the_same_latency) {
  see({{kFingerOn, 100}, {kAssetPlay, 150}, {kButtonDown, 120}});
  EXPECT_EQ(latency(3), 30U);
  EXPECT_EQ(presses_.backward_latencies(), 0U);
}

TEST_F(ButtonPressesTest, other_records_are_no_checkpoints) {
  presses_.see(report(7, 3, 8, 3));
  presses_.see(report(7, 2, kFingerOn, 3));
  presses_.see(report(6, 3, kFingerOn, 3));
  EXPECT_EQ(presses_.count(), 0U);
  EXPECT_EQ(presses_.stray_checkpoints(), 0U);
}

TEST_F(ButtonPressesTest, first_slowest_and_failed_presses_are_kept_and_all_are_counted) {
  for (std::uint64_t number = 1; number <= 1000; ++number) {
    see_press(number * 10'000, number == 500 ? 9000 : number);
  }
  see({{kFingerOn, 0}, {kButtonDown, 10}, {kFingerOff, 20}});
  see_press(0, 1);
  EXPECT_EQ(kept_numbers(), (std::vector<std::uint64_t>{1,   2,   3,   4,   5,   6,   7,   8,   9,    10,  500,
                                                        992, 993, 994, 995, 996, 997, 998, 999, 1000, 1001}));
  EXPECT_EQ(presses_.latency(2).count(), 1001U);
}

TEST_F(ButtonPressesTest, largest_times_are_as_good_as_any) {
  see({{kFingerOn, 0}, {kButtonDown, UINT64_MAX}, {kAssetPlay, UINT64_MAX}});
  EXPECT_EQ(latency(0), UINT64_MAX);
  EXPECT_EQ(latency(3), 0U);
}

}  // namespace
}  // namespace hub::test
