// SPDX-License-Identifier: Apache-2.0
#include "host/forms/slice_lane.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace hub::test {
namespace {

using namespace hub::host;

class SliceLaneTest : public ::testing::Test {
 protected:
  bool take(std::uint64_t start_us, std::uint64_t end_us, std::uint32_t depth = 0) {
    return lane_.take({start_us, end_us}, depth);
  }

 private:
  SliceLane lane_;
};

TEST_F(SliceLaneTest, slices_side_by_side_are_taken_in_any_order) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_TRUE(take(20, 30));
  EXPECT_TRUE(take(50, 60));
  EXPECT_TRUE(take(5, 10));
  EXPECT_TRUE(take(30, 50));
}

TEST_F(SliceLaneTest, outer_slice_is_taken_behind_what_it_encloses) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_TRUE(take(20, 30));
  EXPECT_TRUE(take(10, 40));
  EXPECT_TRUE(take(0, 40));
}

TEST_F(SliceLaneTest, equal_slices_are_in_each_other) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_TRUE(take(10, 20));
}

TEST_F(SliceLaneTest, partial_overlap_is_refused_and_nothing_changes) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_FALSE(take(15, 25));
  EXPECT_FALSE(take(5, 15));
  EXPECT_TRUE(take(20, 25));
}

TEST_F(SliceLaneTest, overlap_with_the_first_of_several_is_refused) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_TRUE(take(30, 40));
  EXPECT_FALSE(take(15, 50));
  EXPECT_TRUE(take(20, 50));
}

TEST_F(SliceLaneTest, slice_inside_an_earlier_one_is_refused) {
  EXPECT_TRUE(take(10, 20));
  EXPECT_FALSE(take(12, 14));
  EXPECT_FALSE(take(10, 19));
  EXPECT_FALSE(take(11, 20));
}

TEST_F(SliceLaneTest, levels_are_bounded) {
  for (std::uint32_t level = 0; level < SliceLane::kMostLevels; ++level) {
    EXPECT_TRUE(take(100 - level, 200 + level)) << level;
  }
  EXPECT_FALSE(take(0, 300));
  EXPECT_TRUE(take(300, 400));
}

TEST_F(SliceLaneTest, beyond_what_is_remembered_the_two_nearest_of_the_older_half_count_as_one) {
  EXPECT_TRUE(take(0, 10));
  EXPECT_TRUE(take(50, 60));
  EXPECT_TRUE(take(99, 120));
  for (std::uint64_t index = 3; index < SliceLane::kMostPieces; ++index) {
    EXPECT_TRUE(take(100 * index, 100 * index + 20)) << index;
  }
  EXPECT_TRUE(take(6321, 6330));
  EXPECT_FALSE(take(99, 10'000));
  EXPECT_TRUE(take(6321, 10'000));
  EXPECT_TRUE(take(300, 10'000));
  EXPECT_TRUE(take(50, 10'000));
}

TEST_F(SliceLaneTest, slices_that_get_deeper_do_not_count_as_one) {
  EXPECT_TRUE(take(0, 10, 1));
  EXPECT_TRUE(take(12, 20, 2));
  for (std::uint64_t index = 1; index < SliceLane::kMostPieces; ++index) {
    EXPECT_TRUE(take(100 * index, 100 * index + 20, 2)) << index;
  }
  EXPECT_FALSE(take(100, 10'000, 1));
  EXPECT_TRUE(take(11, 10'000, 1));
}

TEST_F(SliceLaneTest, call_fits_however_many_are_inside) {
  for (std::uint64_t outer = 0; outer < 10; ++outer) {
    const std::uint64_t start_us = 10'000 * outer;
    for (std::uint64_t inner = 0; inner < 500; ++inner) {
      ASSERT_TRUE(take(start_us + 1 + 15 * inner, start_us + 10 + 15 * inner, 2));
    }
    EXPECT_TRUE(take(start_us, start_us + 8'000, 1));
  }
}

// What a lane took is apart or in each other, whatever it was offered.
TEST(SliceLane, taken_slices_never_overlap_partly) {
  std::mt19937 random(5);
  const auto below = [&random](std::uint64_t bound) { return random() % bound; };
  for (int round = 0; round < 20; ++round) {
    SliceLane lane;
    std::vector<TraceSpan> taken;
    for (std::uint64_t offer = 0; offer < 500; ++offer) {
      const std::uint64_t end_us = 1 + 3 * offer + below(40);
      const TraceSpan span{end_us - std::min(end_us, 1 + below(8) * below(20)), end_us};
      if (lane.take(span, 0)) {
        taken.push_back(span);
      }
    }
    EXPECT_GT(taken.size(), 100U);
    for (const TraceSpan& one : taken) {
      for (const TraceSpan& other : taken) {
        EXPECT_FALSE(one.start_us < other.start_us && other.start_us < one.end_us && one.end_us < other.end_us);
      }
    }
  }
}

}  // namespace
}  // namespace hub::test
