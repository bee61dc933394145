// SPDX-License-Identifier: Apache-2.0
// Loss and disorder in a run of profile reports, found from their sequence numbers and times. Memory is constant.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/captures/loss_counts.h"
#include "profile/profile_report.h"

namespace hub::host {

enum class LossKind : std::uint8_t {
  kGap,             // numbers that never came
  kDuplicate,       // a number that was there already, at the same time
  kReordered,       // a record behind one with a higher number
  kClockBackwards,  // the number goes on and the time goes back
  kRestart,         // the co-processor counts anew
};

struct LossFinding {
  LossKind kind;
  std::uint64_t record_index;           // of the record at which it showed; the run's first is 0
  std::uint32_t expected_sequence_num;  // a gap: the first number that is missing; else what would have been next
  std::uint32_t found_sequence_num;     // a gap: the number behind it; else the record's
  std::uint64_t before_us;              // a gap: time of the record before it; else of the one with the newest number
  std::uint64_t after_us;               // a gap: time of the record behind it; else the record's
  std::uint32_t missing_records = 0;    // a gap: how many

  bool operator==(const LossFinding&) const = default;
};

// Takes each record of a run in input order and counts what is wrong. Numbers are compared modulo 2^32.
//
//   what comes                                              what it is
//   the first record                                        sets what is expected, whatever its number
//   expected, or less than 2^31 ahead                       goes on; what was left out is a gap; a time before the last
//                                                           one is kClockBackwards
//   more than kReach ahead, time before the last one        kRestart: what is merely lost does not turn the clock back
//   in an open gap, time between those around the gap       kReordered: the gap shrinks, splits or vanishes
//   a number of the last kReach, at the time that it had    kDuplicate, whatever its payload
//   a number of the last kReach, at another time            kRestart
//   any other: too late to be known, from before the first  the next record decides: if it is one of the cases above
//   record, or in a gap at a time that does not fit         but kRestart, the record was kReordered; if not, or at the
//                                                           end, it was kRestart
//
// A gap is open, and can still be filled, until kReach numbers have come behind it, until more than kOpenGaps are open
// (the oldest goes first), or until a restart or the end. Then it is final; a record that comes later is kReordered and
// leaves the gap as it was told.
class LossMonitor {
 public:
  // Called by see() and finish() on their thread. Findings about a record come in the order of records. Gaps come when
  // they are final, and so behind findings about later records; gaps among themselves come in order. A gap that is
  // filled up is never told. Must not call the monitor. May be empty.
  using Listener = std::function<void(const LossFinding&)>;

  static constexpr std::uint32_t kReach = 1024;  // how far behind the newest number is looked
  static constexpr std::size_t kOpenGaps = 64;

  explicit LossMonitor(Listener listener = {}) : listener_(std::move(listener)) {}

  // Every record of the run, in input order.
  void see(const _HubProfileReport& report);

  // Once, behind the last record: what is still open is final.
  void finish();

  // As of now, with the gaps that are open: one that is filled up later is taken back.
  [[nodiscard]] const LossCounts& counts() const { return counts_; }

 private:
  struct Arrival {
    std::uint32_t number;
    std::uint64_t time_us;
    std::uint64_t record_index;
  };

  // Numbers from `first` up to and without `end`.
  struct Gap {
    std::uint32_t first;
    std::uint32_t end;
    std::uint64_t before_us;
    std::uint64_t after_us;
    std::uint64_t record_index;

    [[nodiscard]] std::uint32_t size() const { return end - first; }
    [[nodiscard]] bool holds(std::uint32_t number) const { return number - first < size(); }
    [[nodiscard]] bool fits(std::uint64_t time_us) const;
  };
  using Gaps = std::deque<Gap>;

  struct Remembered {
    std::uint32_t number;
    std::uint32_t life;  // 0: nothing
    std::uint64_t time_us;
  };

  enum class Place : std::uint8_t { kFirst, kOn, kInGap, kSeen, kAnew, kUnknown };

  [[nodiscard]] Place place_of(const Arrival& arrival) const;
  void take(const Arrival& arrival);
  void settle_suspect(const Arrival& next);
  void go_on(const Arrival& arrival);
  void take_late(const Arrival& arrival);
  void restart(const Arrival& arrival);
  void begin_life(const Arrival& arrival);
  void advance_to(const Arrival& arrival);
  void remember(const Arrival& arrival);
  void open_gap(const Arrival& behind);
  void fill(const Gaps::const_iterator& gap, const Arrival& arrival);
  void settle_gaps_out_of_reach();
  void settle_oldest_gap();
  void settle_all_gaps();
  [[nodiscard]] Gaps::const_iterator gap_around(std::uint32_t number) const;
  void tell(LossKind kind, const Arrival& arrival) const;

  Listener listener_;
  LossCounts counts_;
  std::uint64_t records_ = 0;
  std::uint32_t life_ = 0;  // counts the restarts and the start
  std::uint32_t expected_ = 0;
  std::uint64_t newest_us_ = 0;  // time of the record before the expected one
  Gaps gaps_;                    // open ones, oldest first
  std::optional<Arrival> suspect_;
  bool nothing_is_open_ = false;                 // no gap, no suspect, and there is something expected
  std::array<Remembered, kReach> remembered_{};  // a number has its place
};

// All counts that are not 0 in one line without an end, such as "3 gaps (17 records missing), 1 duplicate"; empty when
// nothing was wrong.
std::string loss_summary(const LossCounts& counts);

// A finding in one line without an end, such as
// "record 120: gap: 17 records missing, sequence_num 41 to 57, between 812000 us and 813500 us".
std::string loss_line(const LossFinding& finding);

}  // namespace hub::host
