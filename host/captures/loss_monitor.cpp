// SPDX-License-Identifier: Apache-2.0
#include "host/captures/loss_monitor.h"

#include <algorithm>

namespace hub::host {
namespace {

constexpr std::uint32_t kHalfOfTheNumbers = 1U << 31;

std::string us(std::uint64_t time_us) { return std::to_string(time_us) + " us"; }

std::string number_at(std::uint32_t number, std::uint64_t time_us) {
  return std::to_string(number) + " at " + us(time_us);
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string missing_numbers(const LossFinding& gap) {
  const std::string first = std::to_string(gap.expected_sequence_num);
  return gap.missing_records == 1 ? first : first + " to " + std::to_string(gap.found_sequence_num - 1);
}

std::string finding_text(const LossFinding& finding) {
  const std::string found = number_at(finding.found_sequence_num, finding.after_us);
  switch (finding.kind) {
    case LossKind::kGap:
      return "gap: " + counted(finding.missing_records, "record", "records") + " missing, sequence_num " +
             missing_numbers(finding) + ", between " + us(finding.before_us) + " and " + us(finding.after_us);
    case LossKind::kDuplicate:
      return "duplicate: sequence_num " + found + " was there before";
    case LossKind::kReordered:
      return "out of order: sequence_num " + found + " behind " +
             number_at(finding.expected_sequence_num - 1, finding.before_us);
    case LossKind::kClockBackwards:
      return "clock backwards: from " + us(finding.before_us) + " to " + us(finding.after_us) + ", sequence_num " +
             std::to_string(finding.found_sequence_num);
    case LossKind::kRestart:
      return "restart: sequence_num " + found + " behind " +
             number_at(finding.expected_sequence_num - 1, finding.before_us);
  }
  return {};
}

}  // namespace

void LossMonitor::see(const _HubProfileReport& report) {
  const Arrival arrival{report.sequence_num, report.timestamp, records_++};
  if (nothing_is_open_ && arrival.number == expected_ && arrival.time_us >= newest_us_) {
    advance_to(arrival);  // nearly every record of nearly every run
    return;
  }
  if (suspect_) {
    settle_suspect(arrival);
  }
  take(arrival);
  nothing_is_open_ = gaps_.empty() && !suspect_;
}

void LossMonitor::finish() {
  if (suspect_) {
    restart(*suspect_);
    suspect_.reset();
  }
  settle_all_gaps();
}

LossMonitor::Place LossMonitor::place_of(const Arrival& arrival) const {
  if (life_ == 0) {
    return Place::kFirst;
  }
  const std::uint32_t ahead = arrival.number - expected_;
  if (ahead == 0) {
    return Place::kOn;
  }
  // Before what is ahead: the beginning of a gap of nearly 2^31 is more than that behind.
  if (const auto gap = gap_around(arrival.number); gap != gaps_.end()) {
    return gap->fits(arrival.time_us) ? Place::kInGap : Place::kUnknown;
  }
  if (ahead < kHalfOfTheNumbers) {
    return ahead > kReach && arrival.time_us < newest_us_ ? Place::kAnew : Place::kOn;
  }
  const Remembered& remembered = remembered_[arrival.number % kReach];
  if (remembered.life != life_ || remembered.number != arrival.number) {
    return Place::kUnknown;
  }
  return remembered.time_us == arrival.time_us ? Place::kSeen : Place::kAnew;
}

void LossMonitor::take(const Arrival& arrival) {
  switch (place_of(arrival)) {
    case Place::kFirst:
      begin_life(arrival);
      break;
    case Place::kOn:
      go_on(arrival);
      break;
    case Place::kInGap:
      take_late(arrival);
      break;
    case Place::kSeen:
      ++counts_.duplicates;
      tell(LossKind::kDuplicate, arrival);
      break;
    case Place::kAnew:
      restart(arrival);
      break;
    case Place::kUnknown:
      suspect_ = arrival;
      break;
  }
}

// One stray record is no restart: the records behind a restart have no place in what was before.
void LossMonitor::settle_suspect(const Arrival& next) {
  const Arrival suspect = *suspect_;
  suspect_.reset();
  const Place place = place_of(next);
  if (place == Place::kUnknown || place == Place::kAnew) {
    restart(suspect);
  } else {
    take_late(suspect);
  }
}

void LossMonitor::go_on(const Arrival& arrival) {
  if (arrival.time_us < newest_us_) {
    ++counts_.clock_backwards;
    tell(LossKind::kClockBackwards, arrival);
  }
  if (arrival.number != expected_) {
    open_gap(arrival);
  }
  advance_to(arrival);
  settle_gaps_out_of_reach();
}

void LossMonitor::take_late(const Arrival& arrival) {
  ++counts_.reordered;
  tell(LossKind::kReordered, arrival);
  remember(arrival);
  if (const auto gap = gap_around(arrival.number); gap != gaps_.end()) {
    fill(gap, arrival);
  }
}

void LossMonitor::restart(const Arrival& arrival) {
  settle_all_gaps();
  ++counts_.restarts;
  tell(LossKind::kRestart, arrival);
  begin_life(arrival);
}

void LossMonitor::begin_life(const Arrival& arrival) {
  ++life_;
  advance_to(arrival);
}

void LossMonitor::advance_to(const Arrival& arrival) {
  expected_ = arrival.number + 1;
  newest_us_ = arrival.time_us;
  remember(arrival);
}

// What is older than the others that have this place does not take it.
void LossMonitor::remember(const Arrival& arrival) {
  if (expected_ - 1 - arrival.number < kReach) {
    remembered_[arrival.number % kReach] = {arrival.number, life_, arrival.time_us};
  }
}

// Any time fits where the clock went back over the gap.
bool LossMonitor::Gap::fits(std::uint64_t time_us) const {
  return before_us > after_us || (before_us <= time_us && time_us <= after_us);
}

void LossMonitor::open_gap(const Arrival& behind) {
  gaps_.push_back({expected_, behind.number, newest_us_, behind.time_us, behind.record_index});
  ++counts_.gaps;
  counts_.missing_records += gaps_.back().size();
}

void LossMonitor::fill(const Gaps::const_iterator& gap, const Arrival& arrival) {
  const Gap below{gap->first, arrival.number, gap->before_us, arrival.time_us, gap->record_index};
  const Gap above{arrival.number + 1, gap->end, arrival.time_us, gap->after_us, gap->record_index};
  auto place = gaps_.erase(gap);
  --counts_.gaps;
  --counts_.missing_records;
  for (const Gap& rest : {above, below}) {
    if (rest.size() > 0) {
      place = gaps_.insert(place, rest);
      ++counts_.gaps;
    }
  }
  settle_gaps_out_of_reach();
}

void LossMonitor::settle_gaps_out_of_reach() {
  while (!gaps_.empty() && (gaps_.size() > kOpenGaps || expected_ - gaps_.front().end > kReach)) {
    settle_oldest_gap();
  }
}

void LossMonitor::settle_oldest_gap() {
  const Gap gap = gaps_.front();
  gaps_.pop_front();
  if (listener_) {
    listener_({LossKind::kGap, gap.record_index, gap.first, gap.end, gap.before_us, gap.after_us, gap.size()});
  }
}

void LossMonitor::settle_all_gaps() {
  while (!gaps_.empty()) {
    settle_oldest_gap();
  }
}

LossMonitor::Gaps::const_iterator LossMonitor::gap_around(std::uint32_t number) const {
  return std::find_if(gaps_.begin(), gaps_.end(), [number](const Gap& gap) { return gap.holds(number); });
}

void LossMonitor::tell(LossKind kind, const Arrival& arrival) const {
  if (listener_) {
    listener_({kind, arrival.record_index, expected_, arrival.number, newest_us_, arrival.time_us});
  }
}

std::string loss_summary(const LossCounts& counts) {
  const struct {
    std::uint64_t count;
    std::string text;
  } kParts[] = {
      {counts.gaps,
       counted(counts.gaps, "gap", "gaps") + " (" + counted(counts.missing_records, "record", "records") + " missing)"},
      {counts.duplicates, counted(counts.duplicates, "duplicate", "duplicates")},
      {counts.reordered, counted(counts.reordered, "record", "records") + " out of order"},
      {counts.clock_backwards, counted(counts.clock_backwards, "step", "steps") + " of the clock backwards"},
      {counts.restarts, counted(counts.restarts, "restart", "restarts")},
  };
  std::string line;
  for (const auto& part : kParts) {
    if (part.count > 0) {
      line += (line.empty() ? "" : ", ") + part.text;
    }
  }
  return line;
}

std::string loss_line(const LossFinding& finding) {
  return "record " + std::to_string(finding.record_index) + ": " + finding_text(finding);
}

}  // namespace hub::host
