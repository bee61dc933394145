// SPDX-License-Identifier: Apache-2.0
// The figures of two captures, A and B, side by side: what text and JSON about a comparison are made from.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/figures/capture_summary.h"

namespace hub::host {

struct NamedSummary {
  std::string name;  // any bytes
  const CaptureSummary& summary;
};

// From A to B. Nothing where either is not known.
template <typename Number>
struct Change {
  std::optional<Number> a;
  std::optional<Number> b;

  [[nodiscard]] bool known() const { return a && b; }
  [[nodiscard]] bool is_decrease() const { return *b < *a; }
  [[nodiscard]] Number magnitude() const { return is_decrease() ? *a - *b : *b - *a; }

  // Of A; nothing when that is zero and B is not.
  [[nodiscard]] std::optional<double> percent() const {
    constexpr double kPercent = 100;
    if (!known() || (*a == 0 && *b != 0)) {
      return std::nullopt;
    }
    const auto part = *a == *b ? 0.0 : static_cast<double>(magnitude()) / static_cast<double>(*a);
    return (is_decrease() ? -part : part) * kPercent;
  }
};

// A row of a table in two captures.
template <typename Key, typename Figures>
struct ComparedRow {
  Key key;
  const Figures* a;  // null: the capture has no such row
  const Figures* b;
  bool uncertain;  // the capture without the row has others that are not told apart, and it may be among them
};

// How much an amount changed, to sort by: per second of each capture's span, or, where one has none, as it is.
class AmountOfChange {
 public:
  AmountOfChange(const CaptureSummary& a, const CaptureSummary& b)
      : a_(a), b_(b), by_time_(a.per_second(0) && b.per_second(0)) {}

  [[nodiscard]] bool by_time() const { return by_time_; }

  [[nodiscard]] double between(std::uint64_t a, std::uint64_t b) const {
    return by_time_ ? std::abs(*b_.per_second(b) - *a_.per_second(a))
                    : std::abs(static_cast<double>(b) - static_cast<double>(a));
  }

 private:
  const CaptureSummary& a_;
  const CaptureSummary& b_;
  bool by_time_;
};

// Every row that a table has in either capture, those whose amount changed most first, among equals by key.
template <typename Key, typename Figures, typename Hash, typename AmountOf>
std::vector<ComparedRow<Key, Figures>> compared_rows(const BoundedTable<Key, Figures, Hash>& a,
                                                     const BoundedTable<Key, Figures, Hash>& b,
                                                     const AmountOfChange& change, const AmountOf& amount_of) {
  using Row = ComparedRow<Key, Figures>;
  std::vector<std::pair<double, Row>> rows;
  const auto add = [&](const Row& row) {
    rows.push_back(
        {change.between(row.a != nullptr ? amount_of(*row.a) : 0, row.b != nullptr ? amount_of(*row.b) : 0), row});
  };
  for (const auto& row : a.rows_by(amount_of)) {
    const Figures* other = b.find(row.key);
    add({row.key, row.figures, other, other == nullptr && b.others() != nullptr});
  }
  for (const auto& row : b.rows_by(amount_of)) {
    if (a.find(row.key) == nullptr) {
      add({row.key, nullptr, row.figures, a.others() != nullptr});
    }
  }
  std::sort(rows.begin(), rows.end(), [](const auto& one, const auto& other) {
    return one.first != other.first ? one.first > other.first : one.second.key < other.second.key;
  });
  std::vector<Row> sorted;
  sorted.reserve(rows.size());
  for (const auto& [amount, row] : rows) {
    sorted.push_back(row);
  }
  return sorted;
}

// The figures of a group in one capture.
struct GroupFigures {
  std::optional<std::uint64_t> count;
  std::optional<double> per_second;
  std::optional<double> share;
};

// Durations or latencies in one capture.
struct SpreadFigures {
  std::optional<std::uint64_t> count;
  std::optional<std::uint64_t> total;
  std::optional<double> total_per_second;
  std::optional<std::uint64_t> thread_total;
  std::optional<std::uint64_t> min;
  std::optional<std::uint64_t> p50;
  std::optional<std::uint64_t> p95;
  std::optional<std::uint64_t> p99;
  std::optional<std::uint64_t> max;
  bool percentiles_exact = true;
};

struct SpreadItem {
  std::string_view key;  // in text and JSON
  std::optional<std::uint64_t> SpreadFigures::*figure;
};

inline constexpr SpreadItem kSpreadItems[] = {
    {"count", &SpreadFigures::count}, {"min", &SpreadFigures::min}, {"p50", &SpreadFigures::p50},
    {"p95", &SpreadFigures::p95},     {"p99", &SpreadFigures::p99}, {"max", &SpreadFigures::max},
};
inline constexpr SpreadItem kTotalItem = {"total", &SpreadFigures::total};
inline constexpr SpreadItem kThreadTotalItem = {"thread_total", &SpreadFigures::thread_total};

// The figures of a row that a capture has. Of one that it has not (null) the count is zero, or, when that is not
// certain, not known.
GroupFigures figures_in(const CaptureSummary& summary, const RecordFigures* figures, bool uncertain = false);
SpreadFigures figures_in(const CaptureSummary& summary, const DurationHistogram* figures, bool uncertain = false);
SpreadFigures figures_in(const CaptureSummary& summary, const FunctionFigures* figures, bool uncertain = false);

// Figures of the capture as a whole.
struct CaptureItem {
  std::string_view key;      // in JSON
  std::string_view heading;  // in text
  bool is_time;              // microseconds
  bool is_amount;            // a part of it means something
  std::optional<std::uint64_t> (*figure)(const CaptureSummary& summary);
};

inline constexpr std::size_t kCaptureItemCount = 5;
extern const CaptureItem kCaptureItems[kCaptureItemCount];

// Counts about presses.
struct PressItem {
  std::string key;      // in JSON
  std::string heading;  // in text
  std::uint64_t count;
};

// As many and in the same order for every capture: all presses, each outcome, strays, latencies below zero.
std::vector<PressItem> press_items(const ButtonPresses& presses);

}  // namespace hub::host
