// SPDX-License-Identifier: Apache-2.0
// Which records are wanted by their time.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "host/captures/clock_sources.h"

namespace hub::host {

// One line: the text, and what was expected. Control characters are shown as \xNN.
class TimeBoundError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class TimeBound : std::uint8_t { kSince, kUntil };

// The co-processor time, in microseconds, that a text stands for:
//
//   1234567                         itself, up to 2^64 - 1
//   2026-03-04 08:15:00.925970      calendar time; "T" may stand for the blank
//   Mar 04 08:15:00.925970          as a line shows it, in the year of the pair's calendar reading
//   08:15:00.925970                 on the day of the pair's calendar reading
//
// The fraction has one to six digits, or is left out with its point. Calendar time, and the pair's day and year, are
// local in the zone of TZ. It needs the clock pair, and is converted by it as lines are, the other way round: a
// calendar time copied from a line is the time of this line's record, in the year that the line does not show. What was
// before the co-processor's time began is 0.
//
// A time that the zone's clocks leave out when they are put forward, like any other that there is not (Feb 30), is an
// error. Of one that they show twice when they are put back, kSince takes the first and kUntil the second, so that the
// window has all that may be meant.
//
// Throws TimeBoundError. [host, before decoding]
std::uint64_t parse_time_bound(std::string_view text, TimeBound bound, const std::optional<ClockPair>& pair);

// A range of co-processor times, in microseconds.
struct TimeWindow {
  std::uint64_t since_us = 0;             // this one is in it
  std::optional<std::uint64_t> until_us;  // this one is not; none: there is no end

  [[nodiscard]] bool contains(std::uint64_t timestamp_us) const {
    return timestamp_us >= since_us && (!until_us || timestamp_us < *until_us);
  }
};

}  // namespace hub::host
