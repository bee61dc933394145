// SPDX-License-Identifier: Apache-2.0
// One row of a trace's track: the slices on it are apart or in each other, as viewers expect of calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/forms/trace_clock.h"

namespace hub::host {

// Takes slices in any order, usually by their end, so that an outer one comes behind what it encloses. Remembers those
// that nothing encloses yet, at most kMostPieces: beyond it two neighbours count as one, and what would start between
// them is refused, though it would fit. These are two of the older half, where a call is least likely to have begun
// that still goes on: the second is no deeper than the first, or else they are the nearest to each other.
class SliceLane {
 public:
  static constexpr std::size_t kMostPieces = 64;
  static constexpr std::uint32_t kMostLevels = 64;  // of slices in each other

  // False, and nothing taken, when the slice is partly inside another one, when it lies in one that came before it
  // (what else is in there is forgotten), or when it would enclose kMostLevels levels. The slice must not be empty. The
  // depth says how many calls it is in; 0 for all when that is not known.
  bool take(const TraceSpan& span, std::uint32_t depth);

 private:
  // A slice with all that is in it, or several side by side.
  struct Piece {
    TraceSpan span;
    std::uint32_t levels;
    std::uint32_t depth;
  };
  using Pieces = std::vector<Piece>;

  void join_two();

  Pieces pieces_;  // apart from each other, in the order of time
};

}  // namespace hub::host
