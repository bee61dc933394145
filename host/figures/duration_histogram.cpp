// SPDX-License-Identifier: Apache-2.0
#include "host/figures/duration_histogram.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace hub::host {
namespace {

constexpr unsigned kPercentiles[] = {50, 95, 99};

std::uint64_t saturated_sum(std::uint64_t one, std::uint64_t other) {
  return other > UINT64_MAX - one ? UINT64_MAX : one + other;
}

}  // namespace

void DurationHistogram::add(std::uint64_t value) {
  ++count_;
  sum_ = saturated_sum(sum_, value);
  min_ = std::min(min_, value);
  max_ = std::max(max_, value);
  if (is_exact()) {
    values_.push_back(value);
    return;
  }
  leave_exactness();
  count_in_step(value);
}

void DurationHistogram::add_all_of(const DurationHistogram& other) {
  if (other.is_exact()) {
    for (const std::uint64_t value : other.values_) {
      add(value);
    }
    return;
  }
  count_ += other.count_;
  sum_ = saturated_sum(sum_, other.sum_);
  min_ = std::min(min_, other.min_);
  max_ = std::max(max_, other.max_);
  leave_exactness();
  for (std::size_t octave = 0; octave < kOctaves; ++octave) {
    const Octave& added = other.octaves_[octave];
    octaves_[octave].resize(std::max(octaves_[octave].size(), added.size()));
    std::transform(added.begin(), added.end(), octaves_[octave].begin(), octaves_[octave].begin(), std::plus<>());
  }
}

void DurationHistogram::leave_exactness() {
  octaves_.resize(kOctaves);
  for (const std::uint64_t value : values_) {
    count_in_step(value);
  }
  values_ = {};
}

void DurationHistogram::count_in_step(std::uint64_t value) {
  // Octave 0 is what lies below kSteps, octave n the values of kSteps << (n - 1) and above, in steps of 1 << (n - 1).
  const auto octave = static_cast<std::size_t>(std::bit_width(value / kSteps));
  const std::uint64_t step = octave == 0 ? value : (value >> (octave - 1)) - kSteps;
  octaves_[octave].resize(kSteps);
  ++octaves_[octave][step];
}

// From 1. Count times percent would not fit in 64 bits.
std::uint64_t DurationHistogram::rank_of(unsigned percent) const {
  constexpr std::uint64_t kAll = 100;
  return count_ / kAll * percent + (count_ % kAll * percent + kAll - 1) / kAll;
}

std::uint64_t DurationHistogram::value_in_steps(std::uint64_t rank) const {
  std::uint64_t below = 0;
  for (std::size_t octave = 0; octave < kOctaves; ++octave) {
    for (std::size_t step = 0; step < octaves_[octave].size(); ++step) {
      below += octaves_[octave][step];
      if (below >= rank) {
        const std::uint64_t width = octave == 0 ? 1 : std::uint64_t{1} << (octave - 1);
        const std::uint64_t first = octave == 0 ? step : (kSteps + step) * width;
        return std::clamp(first + (width - 1) / 2, min_, max_);
      }
    }
  }
  return max_;
}

std::optional<DurationFigures> DurationHistogram::figures() const {
  if (count_ == 0) {
    return std::nullopt;
  }
  std::vector<std::uint64_t> sorted = values_;
  std::sort(sorted.begin(), sorted.end());
  std::array<std::uint64_t, std::size(kPercentiles)> found{};
  std::transform(std::begin(kPercentiles), std::end(kPercentiles), found.begin(), [&](unsigned percent) {
    const std::uint64_t rank = rank_of(percent);
    return is_exact() ? sorted[rank - 1] : value_in_steps(rank);
  });
  return DurationFigures{count_, sum_, min_, found[0], found[1], found[2], max_, is_exact()};
}

}  // namespace hub::host
