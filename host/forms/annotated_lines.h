// SPDX-License-Identifier: Apache-2.0
// What stands beside a line for a person at a terminal: how much later it is than another, and a colour.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "host/records/record_format.h"

namespace hub::host {

// The record that a line's time difference is counted from.
enum class DeltaFrom : std::uint8_t {
  kNone,   // no differences are shown
  kPrev,   // the record before it, whether that has a line or not
  kMatch,  // the record of the line before it
  kStart,  // the first record of the run
};

struct Annotations {
  DeltaFrom delta = DeltaFrom::kNone;
  bool colors = false;  // each firmware category has one, in the terminal's own shade of it
};

// Lines with annotations: the line itself is as `lines` writes it. A difference is in seconds of the co-processor
// clock,
// "+0.000123" at the right of 14 columns, and a blank; it is negative when the clock has gone backwards, and 0 where
// there is nothing to count from. A record knows the ones before it, so one thread must write all.
std::unique_ptr<RecordFormat> annotate_lines(std::unique_ptr<RecordFormat> lines, const Annotations& annotations);

}  // namespace hub::host
