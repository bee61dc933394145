// SPDX-License-Identifier: Apache-2.0
#include "host/forms/slice_lane.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace hub::host {
namespace {

bool encloses(const TraceSpan& outer, const TraceSpan& inner) {
  return outer.start_us <= inner.start_us && inner.end_us <= outer.end_us;
}

}  // namespace

bool SliceLane::take(const TraceSpan& span, std::uint32_t depth) {
  auto last = pieces_.end();
  while (last != pieces_.begin() && std::prev(last)->span.start_us >= span.end_us) {
    --last;
  }
  std::uint32_t levels = 1;
  auto first = last;
  for (; first != pieces_.begin() && encloses(span, std::prev(first)->span); --first) {
    levels = std::max(levels, std::prev(first)->levels + 1);
  }
  const bool overlaps = first != pieces_.begin() && std::prev(first)->span.end_us > span.start_us;
  if (overlaps || levels > kMostLevels) {
    return false;
  }
  pieces_.insert(pieces_.erase(first, last), Piece{span, levels, depth});
  if (pieces_.size() > kMostPieces) {
    join_two();
  }
  return true;
}

void SliceLane::join_two() {
  const auto likelihood_of_a_call_between = [](Pieces::iterator at) {
    const auto next = std::next(at);
    return std::pair(next->depth > at->depth, next->span.start_us - at->span.end_us);
  };
  auto best = pieces_.begin();
  for (auto piece = best; piece != pieces_.begin() + kMostPieces / 2; ++piece) {
    if (likelihood_of_a_call_between(piece) < likelihood_of_a_call_between(best)) {
      best = piece;
    }
  }
  const auto next = std::next(best);
  best->span.end_us = next->span.end_us;
  best->levels = std::max(best->levels, next->levels);
  best->depth = next->depth;
  pieces_.erase(next);
}

}  // namespace hub::host
