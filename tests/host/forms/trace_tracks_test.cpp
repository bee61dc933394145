// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_tracks.h"

#include <gtest/gtest.h>

#include <string>

namespace hub::test {
namespace {

using namespace hub::host;

class TraceTracksTest : public ::testing::Test {
 protected:
  // "1001 new", "1001 #2", "none"
  std::string lane(const TraceThread& thread, std::uint64_t start_us, std::uint64_t end_us) {
    const auto track = tracks_.lane_for(thread, {start_us, end_us}, 0);
    if (!track) {
      return "none";
    }
    return std::to_string(track->id) + (track->lane > 0 ? " #" + std::to_string(track->lane + 1) : "") +
           (track->is_new ? " new" : "");
  }
  static TraceThread thread(std::uint32_t number) { return {0, 1, std::nullopt, number}; }

  TraceTracks tracks_;
};

TEST_F(TraceTracksTest, component_is_new_once_and_has_its_id_plus_one) {
  EXPECT_TRUE(tracks_.track_of(3, 7).is_new);
  EXPECT_EQ(tracks_.track_of(3, 7).id, 8U);
  EXPECT_FALSE(tracks_.track_of(3, 7).is_new);
  EXPECT_TRUE(tracks_.track_of(4, 7).is_new);
  EXPECT_TRUE(tracks_.track_of(255, 255).is_new);
}

TEST_F(TraceTracksTest, points_at_one_time_are_bounded) {
  for (std::uint32_t count = 0; count < TraceTracks::kMostPointsAtOnce; ++count) {
    EXPECT_TRUE(tracks_.has_room(3, 7, 100));
  }
  EXPECT_FALSE(tracks_.has_room(3, 7, 100));
  EXPECT_TRUE(tracks_.has_room(3, 8, 100));
  EXPECT_TRUE(tracks_.has_room(3, 7, 101));
}

TEST_F(TraceTracksTest, each_thread_has_a_lane) {
  EXPECT_EQ(lane({0, 1, std::nullopt, 5}, 10, 20), "1001 new");
  EXPECT_EQ(lane({0, 1, std::nullopt, 6}, 10, 20), "1002 new");
  EXPECT_EQ(lane({0, 2, std::nullopt, 5}, 10, 20), "1003 new");
  EXPECT_EQ(lane({1, 1, std::nullopt, 5}, 10, 20), "1004 new");
  EXPECT_EQ(lane({0, 1, 0, 5}, 10, 20), "1005 new");
  EXPECT_EQ(lane({0, 1, 1, 5}, 10, 20), "1006 new");
  EXPECT_EQ(lane({0, 1, std::nullopt, 5}, 20, 30), "1001");
}

TEST_F(TraceTracksTest, overlap_goes_to_the_first_lane_that_takes_it) {
  EXPECT_EQ(lane(thread(5), 10, 20), "1001 new");
  EXPECT_EQ(lane(thread(5), 15, 25), "1002 #2 new");
  EXPECT_EQ(lane(thread(5), 18, 30), "1003 #3 new");
  EXPECT_EQ(lane(thread(5), 25, 35), "1001");
  EXPECT_EQ(lane(thread(5), 28, 36), "1002 #2");
}

TEST_F(TraceTracksTest, lanes_of_a_thread_are_bounded) {
  for (std::uint64_t count = 0; count < TraceTracks::kMostLanesOfAThread; ++count) {
    EXPECT_NE(lane(thread(5), 10 + count, 100 + count), "none");
  }
  EXPECT_EQ(lane(thread(5), 50, 200), "none");
  EXPECT_EQ(lane(thread(5), 200, 300), "1001");
  EXPECT_EQ(lane(thread(6), 50, 200), "1009 new");
}

TEST_F(TraceTracksTest, lanes_are_bounded_and_those_in_use_go_on) {
  for (std::uint32_t number = 0; number < TraceTracks::kMostLanes; ++number) {
    EXPECT_EQ(lane(thread(number), 10, 20), std::to_string(TraceTracks::kFirstLaneId + number) + " new");
  }
  EXPECT_EQ(lane(thread(5000), 10, 20), "none");
  EXPECT_EQ(lane(thread(5), 15, 25), "none");
  EXPECT_EQ(lane(thread(5), 20, 30), "1006");
}

}  // namespace
}  // namespace hub::test
