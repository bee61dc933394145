// SPDX-License-Identifier: Apache-2.0
// How values are spread: durations, or times between two events, in whatever unit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace hub::host {

// A percentile is the value of the nearest rank: the smallest one that at least so many percent of all do not exceed.
struct DurationFigures {
  std::uint64_t count = 0;
  std::uint64_t sum = 0;  // 2^64 - 1 when it is more
  std::uint64_t min = 0;
  std::uint64_t p50 = 0;
  std::uint64_t p95 = 0;
  std::uint64_t p99 = 0;
  std::uint64_t max = 0;
  bool percentiles_exact = true;

  bool operator==(const DurationFigures&) const = default;
};

// Count, sum, smallest and largest value are exact. Percentiles are exact up to kExactValues values, and beyond that
// off by less than kRelativeError of their value. Takes at most 35 KiB, and less the nearer the values lie together.
class DurationHistogram {
 public:
  static constexpr std::size_t kExactValues = 256;
  static constexpr double kRelativeError = 0.01;

  // Throws std::bad_alloc.
  void add(std::uint64_t value);

  // As if each value of the other had been added. Throws std::bad_alloc.
  void add_all_of(const DurationHistogram& other);

  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::uint64_t sum() const { return sum_; }

  // Nothing without a value. Throws std::bad_alloc.
  [[nodiscard]] std::optional<DurationFigures> figures() const;

 private:
  // Values below kSteps have a counter each. Above, each power of two is cut into kSteps steps of equal width: a value
  // is then at most half of 1/kSteps away from the middle of its step.
  static constexpr std::size_t kSteps = 64;
  static constexpr std::size_t kOctaves = 59;
  using Octave = std::vector<std::uint64_t>;  // empty, or kSteps counters

  [[nodiscard]] bool is_exact() const { return count_ <= kExactValues; }
  void count_in_step(std::uint64_t value);
  void leave_exactness();
  [[nodiscard]] std::uint64_t rank_of(unsigned percent) const;
  [[nodiscard]] std::uint64_t value_in_steps(std::uint64_t rank) const;

  std::uint64_t count_ = 0;
  std::uint64_t sum_ = 0;
  std::uint64_t min_ = UINT64_MAX;
  std::uint64_t max_ = 0;
  std::vector<std::uint64_t> values_;  // while they are few
  std::vector<Octave> octaves_;        // afterwards
};

}  // namespace hub::host
