// SPDX-License-Identifier: Apache-2.0
// The figures of a capture: what came how often and when, how long functions took, how presses were answered.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/captures/loss_counts.h"
#include "host/figures/bounded_table.h"
#include "host/figures/button_presses.h"
#include "host/figures/duration_histogram.h"
#include "profile/catalogue.h"

namespace hub::host {

// The records of a group. First and last are the smallest and largest time, in whatever order the records came:
// a clock that went backwards changes neither what they mean nor their order.
struct RecordFigures {
  std::uint64_t count = 0;
  std::uint64_t first_us = UINT64_MAX;  // meaningless without a record
  std::uint64_t last_us = 0;

  void add(std::uint64_t timestamp_us);
  void add_all_of(const RecordFigures& other);
};

// Groups of records: by their ids, from the coarsest to the finest.
enum class Level : std::uint8_t { kCategory, kComponent, kEvent };

inline constexpr std::size_t kLevelCount = 3;

// A group: the bits of the header word that its records have in common, those below zero.
using GroupKey = std::uint32_t;

// A name with its number, as lines show it.
struct NamedId {
  unsigned id;
  std::string name;
};

// The ids of a group that its level has, the category's first, then the component's, then the event's. [any thread]
std::vector<NamedId> ids_of(GroupKey key, Level level);

// A function: of records with a layout that has a function and a duration.
struct FunctionKey {
  std::uint8_t layout = 0;                         // in profile::kLayouts
  std::uint64_t number = 0;                        // in layouts that have numbers for functions
  std::array<char, profile::kPayloadSize> name{};  // in layouts that have names; zeros fill it up

  auto operator<=>(const FunctionKey&) const = default;  // NOLINT(modernize-use-nullptr): taken for one with a 0

  [[nodiscard]] std::string_view layout_name() const { return profile::kLayouts[layout]->name; }
  [[nodiscard]] bool has_name() const;
  [[nodiscard]] std::string_view name_text() const;  // any bytes but zero; points into the key
};

struct FunctionKeyHash {
  std::size_t operator()(const FunctionKey& key) const;
};

struct FunctionFigures {
  DurationHistogram durations;
  std::optional<std::uint64_t> thread_total;  // of all thread durations; nothing where the layout has none

  // Throws std::bad_alloc.
  void add_all_of(const FunctionFigures& other);
};

// Adds up records one by one. Memory is bounded whatever they hold: each table tells BoundedTable::kMostKeys groups or
// functions apart and counts the others together.
class CaptureSummary {
 public:
  using Groups = BoundedTable<GroupKey, RecordFigures>;
  using EventDurations = BoundedTable<GroupKey, DurationHistogram>;
  using Functions = BoundedTable<FunctionKey, FunctionFigures, FunctionKeyHash>;

  // Throws std::bad_alloc.
  void see(const _HubProfileReport& report);

  // What is known about lost records; nothing is lost unless this is told.
  void set_loss(const LossCounts& loss) { loss_ = loss; }

  [[nodiscard]] const RecordFigures& records() const { return records_; }
  [[nodiscard]] std::uint64_t size_bytes() const { return records_.count * sizeof(_HubProfileReport); }
  [[nodiscard]] const LossCounts& loss() const { return loss_; }
  [[nodiscard]] const Groups& groups(Level level) const { return groups_[static_cast<std::size_t>(level)]; }
  [[nodiscard]] const EventDurations& event_durations() const { return event_durations_; }
  [[nodiscard]] const Functions& functions() const { return functions_; }
  [[nodiscard]] const ButtonPresses& presses() const { return presses_; }

  // From the first time to the last; nothing without a record.
  [[nodiscard]] std::optional<std::uint64_t> span_us() const;

  // An amount per second of the span; nothing when that is zero, or unknown.
  [[nodiscard]] std::optional<double> per_second(std::uint64_t amount) const;

  // The part of all records, from 0 to 1; nothing without a record.
  [[nodiscard]] std::optional<double> share_of(std::uint64_t count) const;

 private:
  void see_durations(const _HubProfileReport& report);

  RecordFigures records_;
  LossCounts loss_;
  std::array<Groups, kLevelCount> groups_;
  EventDurations event_durations_;
  Functions functions_;
  ButtonPresses presses_;
};

}  // namespace hub::host
