// SPDX-License-Identifier: Apache-2.0
// The tracks of a trace: which a record's slice goes on, so that slices of one track are apart or in each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "host/forms/slice_lane.h"
#include "host/forms/trace_clock.h"

namespace hub::host {

// The firmware's thread that a function of a component ran on. Functions from outside the firmware have a task besides.
struct TraceThread {
  std::uint8_t category_id;
  std::uint8_t component_id;
  std::optional<std::uint32_t> task;
  std::uint32_t thread;

  [[nodiscard]] auto key() const { return std::tie(category_id, component_id, task, thread); }
  bool operator<(const TraceThread& other) const { return key() < other.key(); }
};

// A thread of the trace, within the process of a category.
struct TraceTrack {
  std::uint32_t id;  // unique in the whole trace but for those of components, which are unique in their process
  std::size_t lane;  // of a firmware thread: 0, 1, ...
  bool is_new;       // nobody was told this track before
};

// The rows of a firmware thread are chosen greedily: a slice goes on the first lane that takes it. All that is
// remembered is bounded: kMostLanesOfAThread lanes for a thread, kMostLanes in all, and one place in time for each
// component there can be.
class TraceTracks {
 public:
  static constexpr std::size_t kMostLanesOfAThread = 8;
  static constexpr std::size_t kMostLanes = 1024;
  static constexpr std::uint32_t kFirstLaneId = 1001;
  static constexpr std::uint32_t kMostPointsAtOnce = 64;

  // The track of a component's points: id component + 1.
  TraceTrack track_of(std::uint8_t category_id, std::uint8_t component_id);

  // Whether the points' track has room for another slice at this time: for kMostPointsAtOnce in a row at most, as they
  // lie in each other. Only behind track_of of this component.
  bool has_room(std::uint8_t category_id, std::uint8_t component_id, std::uint64_t time_us);

  // The lane that takes the slice, from now on in use for it; nothing when none does and there may be no more. Lanes
  // have ids from kFirstLaneId on, in the order of their first use.
  std::optional<TraceTrack> lane_for(const TraceThread& thread, const TraceSpan& span, std::uint32_t depth);

 private:
  struct Points {
    std::uint64_t time_us = 0;
    std::uint32_t count = 0;  // of points at this time
  };
  struct Lane {
    std::uint32_t id;
    SliceLane slices;
  };

  std::unordered_map<unsigned, Points> components_;
  std::map<TraceThread, std::vector<Lane>> threads_;
  std::uint32_t lane_count_ = 0;
};

}  // namespace hub::host
