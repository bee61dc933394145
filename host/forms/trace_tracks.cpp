// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_tracks.h"

namespace hub::host {
namespace {

unsigned component_key(std::uint8_t category_id, std::uint8_t component_id) {
  return category_id * 256U + component_id;
}

}  // namespace

TraceTrack TraceTracks::track_of(std::uint8_t category_id, std::uint8_t component_id) {
  const bool is_new = components_.try_emplace(component_key(category_id, component_id)).second;
  return {component_id + 1U, 0, is_new};
}

bool TraceTracks::has_room(std::uint8_t category_id, std::uint8_t component_id, std::uint64_t time_us) {
  Points& points = components_[component_key(category_id, component_id)];
  if (points.time_us != time_us) {
    points = {time_us, 0};
  }
  if (points.count == kMostPointsAtOnce) {
    return false;
  }
  ++points.count;
  return true;
}

std::optional<TraceTrack> TraceTracks::lane_for(const TraceThread& thread, const TraceSpan& span, std::uint32_t depth) {
  const auto known = threads_.find(thread);
  const std::size_t lanes_in_use = known != threads_.end() ? known->second.size() : 0;
  for (std::size_t lane = 0; lane < lanes_in_use; ++lane) {
    if (known->second[lane].slices.take(span, depth)) {
      return TraceTrack{known->second[lane].id, lane, false};
    }
  }
  if (lanes_in_use == kMostLanesOfAThread || lane_count_ == kMostLanes) {
    return std::nullopt;
  }
  Lane& added = threads_[thread].emplace_back(Lane{kFirstLaneId + lane_count_, {}});
  ++lane_count_;
  added.slices.take(span, depth);
  return TraceTrack{added.id, lanes_in_use, true};
}

}  // namespace hub::host
