// SPDX-License-Identifier: Apache-2.0
// Where records stand on a trace's time line: microseconds from 0, exact as a JSON number.
#pragma once

#include <cstdint>

#include "host/forms/payload_json.h"

#include "profile/profile_report.h"

namespace hub::host {

// The largest integer that every reader of JSON keeps, and so the time line's end.
inline constexpr std::uint64_t kMaxTraceTime_us = kLargestReadableInteger;

struct TraceSpan {
  std::uint64_t start_us;
  std::uint64_t end_us;

  [[nodiscard]] std::uint64_t length_us() const { return end_us - start_us; }
};

// The firmware writes the record of a function when the function returns: the record's stamp is the span's end, the
// start is so much earlier. Within a stretch of records all ends keep the distances of their stamps.
//
// The first record begins a stretch, at time 0 with its start. A record begins another one, with its start where the
// latest one so far ended, when its stamp cannot go on with those before it:
//   the co-processor was started anew   the stamp is behind the newest by more than kLate_us, or behind it at all while
//                                       the sequence number is behind by more than kLateRecords
//   the stamp is beyond the line's end  no device runs for so long
// A stamp that is behind by less belongs to a record that came late, and keeps its place.
//
// Nothing lies before the begin of its stretch: what started earlier is cut there.
class TraceClock {
 public:
  static constexpr std::uint64_t kLate_us = 1'000'000;
  static constexpr std::uint32_t kLateRecords = 64;

  // The span of the next record, which ends with its stamp; with a duration of 0, or cut to nothing, it is empty.
  // Always before kMaxTraceTime_us.
  TraceSpan place(const _HubProfileReport& report, std::uint64_t duration_us);

 private:
  [[nodiscard]] bool goes_on_with(const _HubProfileReport& report) const;
  void begin_stretch(const _HubProfileReport& report, std::uint64_t duration_us);
  [[nodiscard]] std::uint64_t position_of(std::uint64_t timestamp) const;

  bool has_begun_ = false;
  std::uint64_t latest_end_us_ = 0;

  // Of the present stretch: its begin, its first record's stamp and end, and the newest record.
  std::uint64_t begin_us_ = 0;
  std::uint64_t first_timestamp_ = 0;
  std::uint64_t first_end_us_ = 0;
  std::uint64_t newest_timestamp_ = 0;
  std::uint32_t newest_sequence_num_ = 0;
};

}  // namespace hub::host
