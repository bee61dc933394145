// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_clock.h"

#include <algorithm>

namespace hub::host {
namespace {

constexpr std::uint64_t kLatestEnd_us = kMaxTraceTime_us - 1;

// How far a number is behind another one that wraps; 0 when it is not.
std::uint32_t records_behind(std::uint32_t newest, std::uint32_t number) {
  const std::uint32_t distance = newest - number;
  return distance < (1U << 31U) ? distance : 0;
}

}  // namespace

TraceSpan TraceClock::place(const _HubProfileReport& report, std::uint64_t duration_us) {
  if (!goes_on_with(report)) {
    begin_stretch(report, duration_us);
  }
  if (report.timestamp >= newest_timestamp_) {
    newest_timestamp_ = report.timestamp;
    newest_sequence_num_ = report.sequence_num;
  }
  const std::uint64_t end_us = position_of(report.timestamp);
  latest_end_us_ = std::max(latest_end_us_, end_us);
  return {end_us - std::min(duration_us, end_us - begin_us_), end_us};
}

bool TraceClock::goes_on_with(const _HubProfileReport& report) const {
  if (!has_begun_) {
    return false;
  }
  if (report.timestamp >= newest_timestamp_) {
    return report.timestamp - first_timestamp_ <= kLatestEnd_us - first_end_us_;
  }
  return newest_timestamp_ - report.timestamp <= kLate_us &&
         records_behind(newest_sequence_num_, report.sequence_num) <= kLateRecords;
}

void TraceClock::begin_stretch(const _HubProfileReport& report, std::uint64_t duration_us) {
  has_begun_ = true;
  begin_us_ = latest_end_us_;
  first_timestamp_ = report.timestamp;
  first_end_us_ = begin_us_ + std::min(duration_us, kLatestEnd_us - begin_us_);
  newest_timestamp_ = report.timestamp;
  newest_sequence_num_ = report.sequence_num;
}

std::uint64_t TraceClock::position_of(std::uint64_t timestamp) const {
  return timestamp >= first_timestamp_
             ? first_end_us_ + (timestamp - first_timestamp_)
             : first_end_us_ - std::min(first_timestamp_ - timestamp, first_end_us_ - begin_us_);
}

}  // namespace hub::host
